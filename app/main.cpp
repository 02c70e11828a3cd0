#include "app/TelvoFTPHelper.h"
#include "appkit/NSApplication.h"

namespace {

const NSMainInterface mainInterface([] { return make<TelvoFTPHelper>(); });

}  // namespace

int main(int argc, char** argv) { return NSApplicationMain(argc, argv); }
