"""A terminal with a screen: tmux keeps the state of one as any terminal emulator does."""

import shlex
import subprocess
import tempfile

import processes


class Terminal:
    """A shell in a terminal of so many columns."""

    def __init__(self, columns, environment, rows=30):
        self._name = "terminal"
        # Of its own, because the path of a socket has to be short.
        self._folder = tempfile.TemporaryDirectory(prefix="telvo-tmux-")
        self._environment = {**environment, "LC_ALL": "C.UTF-8", "TMUX_TMPDIR": self._folder.name, "ENV": ""}
        self._environment.pop("TMUX", None)
        self._tmux("new-session", "-d", "-x", str(columns), "-y", str(rows), "exec sh")
        self._tmux("set-option", "-g", "status", "off")
        self._tmux("resize-window", "-x", str(columns), "-y", str(rows))
        processes.wait_until(self.rows, what="the shell")

    def _tmux(self, *arguments):
        return subprocess.run(["tmux", "-u", "-f", "/dev/null", "-L", self._name, *arguments], check=True, timeout=60,
                              env=self._environment, stdout=subprocess.PIPE).stdout.decode()

    def run(self, *command):
        self.type(" ".join(shlex.quote(str(word)) for word in command))
        self.press("Enter")

    def type(self, text):
        self._tmux("send-keys", "-l", text)

    def press(self, key):
        """Such as "Enter" or "C-c"."""
        self._tmux("send-keys", key)

    def resize(self, columns):
        self._tmux("resize-window", "-x", str(columns))

    def rows(self):
        """What the screen shows, and what has scrolled out of it, without empty rows."""
        return [row for row in self._tmux("capture-pane", "-p", "-S", "-").splitlines() if row.strip()]

    def text(self):
        return "\n".join(self.rows())

    def echoes(self):
        """Whether what is typed is shown."""
        path = self._tmux("display-message", "-p", "#{pane_tty}").strip()
        settings = subprocess.run(["stty", "-F", path, "-a"], check=True, stdout=subprocess.PIPE, text=True).stdout
        return " echo " in settings

    def wait_for(self, text, timeout=30):
        processes.wait_until(lambda: text in self.text(), timeout, f"{text!r} on the screen")

    def close(self):
        try:
            self._tmux("kill-server")
        except subprocess.CalledProcessError:
            pass  # Its shell has ended, and it with that.
        self._folder.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
