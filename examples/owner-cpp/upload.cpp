// SPDX-License-Identifier: MIT
// Uploads a folder: upload SOURCE HOST[:PORT] [USER], with the password on standard input.

#include <iostream>
#include <string>

#include <telvo/owner/Owner.h>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: upload SOURCE HOST[:PORT] [USER]\n";
    return 2;
  }
  telvo::Upload upload;
  upload.source = argv[1];  // an absolute path
  upload.host = argv[2];
  if (argc > 3) {
    upload.user = argv[3];
    std::getline(std::cin, upload.password);
  }
  upload.escapeNames = true;
  upload.reportOutcomes = true;

  int missing = 0;
  telvo::UploadEvents events;
  events.item = [&missing](const telvo::Record& record) {
    std::cout << record.nth << " of " << record.total << " " << record.localPath << "\n";
    if (record.outcome == telvo::Outcome::sent) return;
    ++missing;
    std::cerr << record.localPath << ": " << record.error << "\n";
  };
  try {
    telvo::Owner owner;
    owner.start(upload, events);
    const telvo::Ending ending = owner.wait();
    const bool isOver = ending == telvo::Ending::finished || ending == telvo::Ending::nothingToSend;
    return isOver && missing == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
}
