#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "testing/TemporaryDirectory.h"
#include "tests/platform/foundation/coding/PropertyLists.h"

namespace {

// A binary property list of objects that are all in place, one byte each for references and offsets.
std::string binaryOf(const std::vector<std::string>& objects, char root) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table.push_back(static_cast<char>(bytes.size()));
    bytes += object;
  }
  const char tableOffset = static_cast<char>(bytes.size());
  const auto eight = [](char low) { return std::string(7, '\0') + low; };
  return bytes + table + std::string(6, '\0') + "\x01\x01" + eight(static_cast<char>(objects.size())) + eight(root) +
         eight(tableOffset);
}

TEST(BinaryPropertyList, ReadsBinaryObjectsOfEverySize) {
  EXPECT_TRUE(
      NSEqualObjects(decodedText(binaryOf({std::string("\x22\x3f\xc0\0\0", 5)}, 0)), NSNumber::numberWithDouble(1.5)));
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({"\x10\xff"}, 0)), NSNumber::numberWithInteger(255)));
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({"\x13\xff\xff\xff\xff\xff\xff\xff\xff"}, 0)),
                             NSNumber::numberWithInteger(-1)));
  EXPECT_TRUE(
      NSEqualObjects(decodedText(binaryOf({std::string("\x81\x01\0", 3)}, 0)), NSPropertyListUID::uidWithValue(256)));
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({std::string("\x52\xe9z", 3)}, 0)), textOf(u"\u00e9z")));
  const auto shared = NSArray::arrayWithObjects({"a"_ns, "a"_ns});
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({std::string("\xa2\x01\x01", 3),
                                                   "\x51"
                                                   "a"},
                                                  0)),
                             shared));
}

TEST(BinaryPropertyList, RefusesBinaryObjectsThatCannotBe) {
  EXPECT_FALSE(decodedText(binaryOf({std::string(1, '\0')}, 0))) << "null";
  EXPECT_FALSE(decodedText(binaryOf({"\x09"}, 1))) << "a root that is not there";
  EXPECT_FALSE(decodedText(binaryOf({"\x4f\x13\x7f\xff\xff\xff\xff\xff\xff\xff"}, 0))) << "data beyond the end";
  EXPECT_FALSE(decodedText(binaryOf({"\x6f\x13\xff\xff\xff\xff\xff\xff\xff\xff"}, 0))) << "text beyond the end";
  EXPECT_FALSE(decodedText(binaryOf({"\xaf\x13\xff\xff\xff\xff\xff\xff\xff\xff"}, 0))) << "array beyond the end";
  EXPECT_FALSE(decodedText(binaryOf({"\xa1\x05"}, 0))) << "an object that is not there";
  EXPECT_FALSE(decodedText(binaryOf({std::string("\xa1\0", 2)}, 0))) << "an array that holds itself";
  EXPECT_FALSE(decodedText(binaryOf({std::string("\xd1\0\0", 3)}, 0))) << "a dictionary that is its own key";
  EXPECT_FALSE(decodedText(binaryOf({"\xd1\x01\x01", "\x09"}, 0))) << "a key that is no text";
  EXPECT_FALSE(decodedText(binaryOf({"\x33\x7f\xf8\x01\x01\x01\x01\x01\x01"}, 0))) << "a date that is not a number";
  EXPECT_FALSE(decodedText(binaryOf({"\x15" + std::string(32, '\x01')}, 0))) << "a huge integer";
  EXPECT_FALSE(decodedText(binaryOf({"\x14" + std::string(16, '\x01')}, 0))) << "a large integer";
}

TEST(BinaryPropertyList, AFileThatUnfoldsWithoutEndIsRefused) {
  // Each array holds the next one sixteen times: 16^20 objects in a few hundred bytes.
  std::vector<std::string> objects;
  for (char level = 1; level <= 13; ++level) objects.push_back("\xaf\x10\x10" + std::string(16, level));
  objects.emplace_back("\x09");
  EXPECT_FALSE(decodedText(binaryOf(objects, 0)));
}

TEST(BinaryPropertyList, AFileMayBeAskedToUnfoldInProportionOnly) {
  constexpr auto inProportion = foundation::PropertyListUnfolding::InProportion;
  const TemporaryDirectory folder;
  const auto unfolded = [&](const id& list, NSPropertyListFormat format) {
    encoded(list, format)->writeToFile_atomically(folder.text("list"), false);
    EXPECT_TRUE(NSEqualObjects(foundation::propertyListWithContentsOfFile(folder.text("list")), list));
    return foundation::propertyListWithContentsOfFile(folder.text("list"), nullptr, inProportion) != nil;
  };
  // A file of 100 kB whose description would have 500 MB.
  const auto references = NSMutableArray::array();
  const auto text = NSString::stringWithUnits(std::u16string(50'000, u'x'));
  for (int i = 0; i < 10'000; ++i) references->addObject(text);
  EXPECT_FALSE(unfolded(references, binary));
  EXPECT_TRUE(unfolded(NSArray::arrayWithObjects({text, text, text}), binary));
  const auto data = NSMutableArray::array();
  for (int i = 0; i < 10'000; ++i) data->addObject(NSData::dataWithBytes(std::string(50'000, 'x')));
  EXPECT_FALSE(unfolded(data, binary));
  // Each line would be indented by 2,000 spaces.
  const auto numbers = NSMutableArray::array();
  for (int i = 0; i < 10'000; ++i) numbers->addObject(NSNumber::numberWithBool(true));
  Ref<NSArray> deep = numbers;
  for (int depth = 1; depth < 500; ++depth) deep = NSArray::arrayWithObject(deep);
  EXPECT_FALSE(unfolded(deep, binary));
  EXPECT_TRUE(unfolded(deep, XML)) << "the file itself is indented";
  std::string flat = "<array>";
  for (int depth = 1; depth < 500; ++depth) flat += "<array>";
  for (int i = 0; i < 10'000; ++i) flat += "<true/>";
  for (int depth = 0; depth < 500; ++depth) flat += "</array>";
  folder.write("flat", flat);
  EXPECT_TRUE(foundation::propertyListWithContentsOfFile(folder.text("flat")));
  EXPECT_FALSE(foundation::propertyListWithContentsOfFile(folder.text("flat"), nullptr, inProportion));
}

TEST(BinaryPropertyList, TheShortestRecordsUnfoldInProportion) {
  const TemporaryDirectory folder;
  const auto records = NSMutableArray::array();
  const auto date = NSDate::dateWithTimeIntervalSince1970(1);
  for (int i = 0; i < 100'000; ++i) {
    const auto path = NSString::stringWithFormat("/%x"_ns, i);
    records->addObject(NSDictionary::dictionary({{"LocalPath"_ns, path},
                                                 {"RemoteDirectory"_ns, "/"_ns},
                                                 {"IsDirectory"_ns, NSNumber::numberWithBool(false)},
                                                 {"ModificationDate"_ns, date}}));
  }
  for (const auto format : {XML, binary}) {
    encoded(records, format)->writeToFile_atomically(folder.text("list"), false);
    const id read = foundation::propertyListWithContentsOfFile(folder.text("list"), nullptr,
                                                               foundation::PropertyListUnfolding::InProportion);
    EXPECT_TRUE(NSEqualObjects(read, records));
  }
}

}  // namespace
