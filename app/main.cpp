#include <cstdlib>

#include "app/TelvoFTPHelper.h"
#include "appkit/NSApplication.h"

namespace {

const NSMainInterface mainInterface([] { return make<TelvoFTPHelper>(); });

// The proxy for web pages is none for FTP. A desktop's proxy library (libproxy) takes it for one when the settings name
// no other; such a proxy may refuse to connect to FTP servers, and then every item would fail.
void forgetWebProxy() {
  unsetenv("http_proxy");
  unsetenv("HTTP_PROXY");
}

}  // namespace

int main(int argc, char** argv) {
  // While no thread can be reading the environment.
  forgetWebProxy();
  return NSApplicationMain(argc, argv);
}
