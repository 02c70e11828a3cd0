#include <cstdio>

#include "app/CommandLine.h"
#include "app/TelvoFTPHelper.h"
#include "appkit/NSApplication.h"

namespace {

const NSMainInterface mainInterface([] { return make<TelvoFTPHelper>(); });

}  // namespace

int main(int argc, char** argv) {
  if (const auto answer = answerToArguments(argc, argv)) return std::fputs(answer->c_str(), stdout) == EOF ? 1 : 0;
  return NSApplicationMain(argc, argv);
}
