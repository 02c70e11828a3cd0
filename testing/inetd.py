"""Starts a program for every connection, which is its standard input and output:  inetd.py HOST PORT COMMAND..."""

import os
import signal
import socket
import sys

host, port, *command = sys.argv[1:]
signal.signal(signal.SIGCHLD, signal.SIG_IGN)  # nobody asks how they ended
family = socket.AF_INET6 if ":" in host else socket.AF_INET
with socket.create_server((host, int(port)), family=family, backlog=64) as listener:
    while True:
        connection, _ = listener.accept()
        with connection:
            if os.fork() == 0:
                for descriptor in range(3):
                    os.dup2(connection.fileno(), descriptor)
                signal.signal(signal.SIGCHLD, signal.SIG_DFL)
                os.execvp(command[0], command)
