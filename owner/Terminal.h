// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "telvo/owner/Namespace.h"

// For owners on a terminal. Texts are UTF-8; columns are counted as a terminal shows them: two for an ideograph, none
// for an accent of its own.
TELVO_OWNER_NAMESPACE_BEGIN

// The text without anything that a terminal would obey: control characters, marks that turn the writing direction, and
// bytes that are no UTF-8 become U+FFFD.
std::string harmless(const std::string& text);

int columnsOf(const std::string& harmlessText);

// The end of the text, which tells more of a path than its beginning, in at most so many columns.
std::string ending(const std::string& harmlessText, int columns);

// Asks on the process's terminal, without showing what is typed; returns that line. A signal that stops or ends the
// program there does so with the echo switched on again; after a stop the question is repeated. Throws
// std::runtime_error when there is no terminal, and when the input ends before the line does.
std::string askForPassword(const std::string& question);

// One line on the terminal at standard output, written over again when the text or the terminal's width is another one,
// at most ten times a second. Where standard output is no terminal, it shows nothing, and on a terminal nothing while
// the program is in the background. Works while the default main context runs.
class StatusLine {
 public:
  // `text` gives what is to be shown, in less than so many columns; by two less than that, and a "^C" which the
  // terminal shows behind it does not begin a new row.
  explicit StatusLine(std::function<std::string(int columns)> text);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  // The text is another one now.
  void update();
  // Takes the line away, to make room for other output. The next update() shows it again.
  void clear();

 private:
  void draw();
  void erase();

  std::function<std::string(int columns)> text_;
  bool isTerminal_;
  unsigned timer_ = 0;
  unsigned resizeWatch_ = 0;
  std::int64_t nextDraw_ = 0;  // not before that, in microseconds of the monotonic clock
  int drawn_ = 0;              // columns that the line takes; 0: there is none
};

TELVO_OWNER_NAMESPACE_END
