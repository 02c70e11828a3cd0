#pragma once

inline namespace telvo {

namespace appkit {

// Puts right what whoever started the process may have left in disorder: standard descriptors that are closed are
// opened to /dev/null, so that no file of the program takes their place; blocked signals are unblocked; a peer that
// goes away and a file that may not grow show as failed writes, not as signals. A lack of memory or threads ends the
// process with a line on standard error and status 1; and the environment names no proxy for web pages, which a
// desktop's proxy library would take for one that leads to FTP servers. Before anything opens a file or starts a
// thread.
void setUpProcess();

}  // namespace appkit

}  // namespace telvo
