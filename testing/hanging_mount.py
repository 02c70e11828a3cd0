"""A file system that stops answering, for use in front of a command line:

    hanging_mount.py [--interrupted] FOLDER COMMAND...

The command sees the folder as the root of a mount, in a mount namespace of its own. The folder can be looked at once;
then the server of the mount reads no request any more, as that of a network share whose other side has gone. With
--interrupted, the look lasts until a signal has come for the command. Needs root. The kernel's side is all real: this
process is the server, and speaks the protocol of /dev/fuse itself.
"""

import ctypes
import os
import signal
import stat
import struct
import sys

INIT, GETATTR, INTERRUPT = 26, 3, 36
BUFFER = 1 << 17
_PR_SET_PDEATHSIG = 1
_CLONE_NEWNS = 0x20000
_MS_PRIVATE_EVERYWHERE = (1 << 18) | (1 << 14)
_libc = ctypes.CDLL(None, use_errno=True)


def _check(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def _mount(device, folder):
    _check(_libc.unshare(_CLONE_NEWNS))
    _check(_libc.mount(None, b"/", None, _MS_PRIVATE_EVERYWHERE, None))
    options = f"fd={device},rootmode=40000,user_id=0,group_id=0".encode()
    _check(_libc.mount(b"hanging", os.fsencode(folder), b"fuse", 0, options))


def _attributes_of_a_folder():
    validity, attributes = (3600, 0, 0), (1, 0, 0, 0, 0, 0, 0, 0, 0, stat.S_IFDIR | 0o755, 2, 0, 0, 0, 512, 0)
    return struct.pack("<QII", *validity) + struct.pack("<QQQQQQIIIIIIIIII", *attributes)


def _next_request(device):
    """Its operation, its number, and all of it."""
    request = os.read(device, BUFFER)
    _, operation, unique = struct.unpack_from("<IIQ", request)
    return operation, unique, request


def _serve(device, waits_for_signal):
    """Answers until the folder has been looked at, and then waits for its own end."""
    while True:
        operation, unique, request = _next_request(device)
        if operation == INIT:
            major, minor = struct.unpack_from("<II", request, 40)
            body = struct.pack("<IIIIHHIIHHI28x", major, minor, 0, 0, 12, 9, BUFFER // 2, 1, 0, 0, 0)
        else:
            assert operation == GETATTR, operation
            if waits_for_signal:
                assert _next_request(device)[0] == INTERRUPT
            body = _attributes_of_a_folder()
        os.write(device, struct.pack("<IiQ", 16 + len(body), 0, unique) + body)
        if operation == GETATTR:
            while True:
                signal.pause()


def _main():
    arguments = sys.argv[1:]
    waits_for_signal = arguments[0] == "--interrupted"
    folder, *command = arguments[1:] if waits_for_signal else arguments
    device = os.open("/dev/fuse", os.O_RDWR | os.O_CLOEXEC)
    command_process = os.getpid()
    _mount(device, folder)
    if os.fork() == 0:
        _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
        if os.getppid() == command_process:
            _serve(device, waits_for_signal)
        os._exit(1)
    os.close(device)
    os.execvp(command[0], command)


if __name__ == "__main__":
    _main()
