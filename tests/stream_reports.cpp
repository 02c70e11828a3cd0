// Uploads files one after the other, and says what their connections report: records, which are all that an owner
// gets, tell nothing of whether an item was stored.
//
//   stream_reports HOST USERNAME PASSWORD DIRECTORY PATH...
//
// One line for each report: the file's path, the report's name and, where it has one, its argument's description, with
// tabs between them.

#include <iostream>
#include <string>

#include "foundation/Foundation.h"
#include "streams/TelvoFTPStreamData.h"

namespace {

class ReportPrinter : public NSObject {
  NS_OBJECT(ReportPrinter, NSObject)

 public:
  void sent(const Ref<TelvoStreamData>&, const Ref<NSDictionary>& parameters) {
    std::cout << path << '\t' << parameters->objectForKey("Signature"_ns)->description()->UTF8String();
    if (const id object = parameters->objectForKey("Object"_ns)) {
      std::cout << '\t' << object->description()->UTF8String();
    }
    std::cout << std::endl;
  }

  std::string path;
};

Class ReportPrinter::classObject() {
  static const NSClass object("ReportPrinter", NSObject::classObject(),
                              {method("delegateData:sentDelegateMessage:"_sel, &ReportPrinter::sent)});
  return &object;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 6) {
    std::cerr << "usage: stream_reports HOST USERNAME PASSWORD DIRECTORY PATH...\n";
    return 2;
  }
  const auto text = [&](int index) { return NSString::stringWithUTF8String(arguments[index]); };
  const auto printer = make<ReportPrinter>();
  for (int index = 5; index < count; ++index) {
    printer->path = arguments[index];
    TelvoUploadFTPStreamData::streamData()->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
        text(index), text(1), text(4), text(2), text(3), printer, true);
  }
}
