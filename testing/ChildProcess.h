#pragma once

#include <array>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

// Runs the body in a process of its own and gives what it returned; "(died)" when it did not return.
inline std::string inChild(const std::function<std::string()>& body) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return "(no pipe)";
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    std::string result;
    try {
      result = body();
    } catch (...) {
      _exit(1);
    }
    const bool written = write(ends[1], result.data(), result.size()) == static_cast<ssize_t>(result.size());
    _exit(written ? 0 : 1);
  }
  close(ends[1]);
  std::string result;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    result.append(buffer.data(), static_cast<std::size_t>(count));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? result : "(died)";
}

// The same as a user whom permissions bind, also when the tests are run by the superuser.
inline std::string withoutPrivileges(const std::function<std::string()>& body) {
  return inChild([&]() -> std::string {
    constexpr id_t nobody = 65534;
    const bool dropped = geteuid() != 0 || (setgroups(0, nullptr) == 0 && setresgid(nobody, nobody, nobody) == 0 &&
                                            setresuid(nobody, nobody, nobody) == 0);
    return dropped ? body() : "(privileges kept)";
  });
}

// A folder on which nearly nothing more can be written, for use in a child process: a small file system of its own
// where the process may mount one, else a limit on the size of files.
class SmallVolume {
 public:
  explicit SmallVolume(std::string folder) : folder_(std::move(folder)) {
    isMounted_ = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                 mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }

  // From now on there is no room for more than a page.
  void fill() const {
    if (isMounted_) {
      std::ofstream filler(folder_ + "/filler", std::ios::binary);
      const std::string page(4096, 'x');
      while (freePages() > 1 && filler.write(page.data(), static_cast<std::streamsize>(page.size())).flush()) continue;
    } else {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{4096, 4096};
      setrlimit(RLIMIT_FSIZE, &limit);
    }
  }

 private:
  unsigned long freePages() const {
    struct statvfs status {};
    return statvfs(folder_.c_str(), &status) == 0 ? status.f_bavail : 0;
  }

  std::string folder_;
  bool isMounted_ = false;
};
