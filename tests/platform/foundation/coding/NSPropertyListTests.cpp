#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/runtime/Releaser.h"
#include "testing/TemporaryDirectory.h"
#include "tests/platform/foundation/coding/PropertyLists.h"

namespace {

TEST(NSPropertyList, EveryTypeComesBackEqualAndOfItsKind) {
  for (const auto format : {XML, binary}) {
    const auto list = everyType();
    const auto back = as<NSDictionary>(again(list, format));
    ASSERT_TRUE(back);
    for (const auto& [key, value] : *list) {
      const id read = back->objectForKey(key);
      ASSERT_TRUE(read) << key->description()->UTF8String();
      EXPECT_TRUE(NSEqualObjects(read, value))
          << key->description()->UTF8String() << " " << read->description()->UTF8String();
      EXPECT_EQ(read->isa(), value->isa());
    }
    EXPECT_EQ(back->count(), list->count());
    EXPECT_TRUE(as<NSNumber>(back->objectForKey("true"_ns))->isBool());
    EXPECT_FALSE(as<NSNumber>(back->objectForKey("one"_ns))->isBool());
    EXPECT_TRUE(as<NSNumber>(back->objectForKey("real"_ns))->isReal());
    EXPECT_FALSE(as<NSNumber>(back->objectForKey("zero"_ns))->isReal());
  }
}

TEST(NSPropertyList, EveryTypeCanBeTheRoot) {
  for (const auto format : {XML, binary}) {
    const auto list = everyType();
    for (const auto& [key, value] : *list) EXPECT_TRUE(NSEqualObjects(again(value, format), value));
  }
}

TEST(NSPropertyList, TellsTheFormatOnSuccess) {
  auto format = XML;
  NSPropertyListSerialization::propertyListWithData_options_format_error(encoded("x"_ns, binary), 0, &format, nullptr);
  EXPECT_EQ(format, binary);
  NSPropertyListSerialization::propertyListWithData_options_format_error(encoded("x"_ns, XML), 0, &format, nullptr);
  EXPECT_EQ(format, XML);
}

TEST(NSPropertyList, EqualListsGiveEqualBytes) {
  const auto one = NSDictionary::dictionary({{"a"_ns, "1"_ns}, {"b"_ns, "2"_ns}});
  const auto other = NSDictionary::dictionary({{"b"_ns, "2"_ns}, {"a"_ns, "1"_ns}});
  for (const auto format : {XML, binary}) EXPECT_TRUE(NSEqualObjects(encoded(one, format), encoded(other, format)));
}

TEST(NSPropertyList, EveryTruncationAndEveryFlippedByteIsSurvived) {
  for (const auto format : {XML, binary}) {
    const auto small = as<NSMutableDictionary>(everyType()->mutableCopy());
    small->removeObjectForKey("long text"_ns);
    const std::string whole(encoded(small, format)->view());
    for (std::size_t length = 0; length < whole.size() - 1; ++length) {
      EXPECT_FALSE(decodedText(whole.substr(0, length))) << length;
    }
    std::minstd_rand random(1);
    for (std::size_t at = 0; at < whole.size(); ++at) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ static_cast<char>(1 + random() % 255));
      const id list = decodedText(damaged);
      // Whatever it still is, it can be written and read once more.
      EXPECT_TRUE(!list || again(list, binary));
    }
  }
}

TEST(NSPropertyList, RandomBytesAreSurvived) {
  std::minstd_rand random(2);
  const std::string list(encoded(everyType(), binary)->view());
  for (int run = 0; run < 2000; ++run) {
    std::string bytes = "bplist00";
    for (std::size_t i = 0, size = random() % 200; i < size; ++i) bytes.push_back(static_cast<char>(random() % 256));
    // Half of them with a trailer that leads somewhere.
    if (run % 2) bytes += list.substr(list.size() - 32, 16) + std::string(15, '\0') + static_cast<char>(random() % 64);
    decodedText(bytes);
  }
}

std::string nestedXML(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "<array>";
  for (std::size_t i = 0; i < depth; ++i) text += "</array>";
  return text;
}

TEST(NSPropertyList, NestingIsLimitedOnBothSides) {
  EXPECT_TRUE(decodedElement(nestedXML(512)));
  EXPECT_FALSE(decodedElement(nestedXML(513)));
  EXPECT_FALSE(decodedElement(nestedXML(1'000'000)));
  std::string dictionaries;
  for (int i = 0; i < 1'000'000; ++i) dictionaries += "<dict><key>a</key>";
  EXPECT_FALSE(decodedElement(dictionaries));
  id list = NSArray::array();
  for (int depth = 1; depth < 512; ++depth) list = NSArray::arrayWithObject(list);
  for (const auto format : {XML, binary}) {
    EXPECT_TRUE(again(list, format));
    EXPECT_FALSE(encoded(NSArray::arrayWithObject(list), format));
  }
}

TEST(NSPropertyList, AContainerThatHoldsItselfCannotBeWritten) {
  const auto array = NSMutableArray::array();
  array->addObject(array);
  const auto dictionary = NSMutableDictionary::dictionary();
  dictionary->setObject_forKey(dictionary, "a"_ns);
  for (const auto format : {XML, binary}) {
    EXPECT_FALSE(encoded(array, format));
    EXPECT_FALSE(encoded(dictionary, format));
  }
  array->removeAllObjects();
  dictionary->removeAllObjects();
}

TEST(NSPropertyList, ObjectsOfOtherTypesAreRefusedWithAnError) {
  const auto keyed = NSDictionary::dictionary({{NSNumber::numberWithInteger(1), "a"_ns}});
  const auto notADate = NSDate::dateWithTimeIntervalSinceReferenceDate(std::nan(""));
  for (const auto format : {XML, binary}) {
    for (const id& list : {id(), id(NSNull::null()), id(make<NSObject>()), id(keyed), id(notADate),
                           id(NSArray::arrayWithObject(NSNull::null()))}) {
      Ref<NSError> error;
      EXPECT_FALSE(NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, &error));
      ASSERT_TRUE(error);
      EXPECT_EQ(error->code(), NSPropertyListWriteInvalidError);
      EXPECT_FALSE(NSPropertyListSerialization::propertyList_isValidForFormat(list, format));
    }
    EXPECT_TRUE(NSPropertyListSerialization::propertyList_isValidForFormat(everyType(), format));
  }
}

TEST(NSPropertyList, MutabilityIsAsAskedFor) {
  const auto list = NSArray::arrayWithObjects(
      {NSDictionary::dictionary({{"a"_ns, "b"_ns}}), NSData::dataWithBytes("x"), "b"_ns, "b"_ns});
  for (const auto format : {XML, binary}) {
    const auto immutable = as<NSArray>(decoded(encoded(list, format), NSPropertyListImmutable));
    EXPECT_FALSE(as<NSMutableArray>(immutable));
    EXPECT_FALSE(as<NSMutableDictionary>(immutable->objectAtIndex(0)));
    const auto containers = as<NSMutableArray>(decoded(encoded(list, format), NSPropertyListMutableContainers));
    ASSERT_TRUE(containers);
    EXPECT_TRUE(as<NSMutableDictionary>(containers->objectAtIndex(0)));
    EXPECT_FALSE(as<NSMutableString>(containers->objectAtIndex(2)));
    const auto leaves = as<NSMutableArray>(decoded(encoded(list, format), NSPropertyListMutableContainersAndLeaves));
    ASSERT_TRUE(leaves);
    EXPECT_TRUE(as<NSMutableData>(leaves->objectAtIndex(1)));
    EXPECT_TRUE(as<NSMutableString>(leaves->objectAtIndex(2)));
    as<NSMutableString>(leaves->objectAtIndex(2))->appendString("c"_ns);
    EXPECT_TRUE(NSEqualObjects(leaves->objectAtIndex(3), "b"_ns)) << "equal texts are not one object";
    EXPECT_TRUE(NSEqualObjects(as<NSDictionary>(leaves->objectAtIndex(0))->objectForKey("a"_ns), "b"_ns));
  }
}

TEST(NSPropertyList, AnArrayFileRoundTripsInPlaceAndAtomically) {
  const TemporaryDirectory folder;
  const auto array = NSArray::arrayWithObjects({everyType(), "x"_ns});
  for (const bool atomically : {false, true}) {
    EXPECT_TRUE(array->writeToFile_atomically(folder.text("file"), atomically));
    EXPECT_TRUE(folder.read("file").starts_with("<?xml"));
    EXPECT_TRUE(NSEqualObjects(NSArray::arrayWithContentsOfFile(folder.text("file")), array));
    EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(folder.text("file"))) << "another root type";
  }
  EXPECT_TRUE(everyType()->writeToFile_atomically(folder.text("file"), false));
  EXPECT_TRUE(NSEqualObjects(NSDictionary::dictionaryWithContentsOfFile(folder.text("file")), everyType()));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text("file")));
  EXPECT_TRUE(encoded(array, binary)->writeToFile_atomically(folder.text("file"), false));
  EXPECT_TRUE(NSEqualObjects(NSArray::arrayWithContentsOfFile(folder.text("file")), array));
}

TEST(NSPropertyList, FilesThatAreNoPropertyListsReadAsNil) {
  const TemporaryDirectory folder;
  folder.write("empty");
  folder.write("damaged", "<plist><array><string>");
  folder.write("text", "hello");
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const char* name : {"empty", "damaged", "text", "fifo", "missing"}) {
    EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text(name))) << name;
  }
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text()));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(nil));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile("/dev/zero"_ns));
}

TEST(NSPropertyList, AnEnormousFileThatBeginsWronglyIsNotReadAnyFurther) {
  const TemporaryDirectory folder;
  folder.write("sparse");
  std::filesystem::resize_file(folder / "sparse", std::uintmax_t{1} << 40U);
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text("sparse")));
}

TEST(NSPropertyList, AListThatCannotBeWrittenLeavesTheFileAlone) {
  const TemporaryDirectory folder;
  folder.write("file", "old");
  const auto array = NSArray::arrayWithObject(NSNull::null());
  EXPECT_FALSE(array->writeToFile_atomically(folder.text("file"), false));
  EXPECT_FALSE(array->writeToFile_atomically(folder.text("file"), true));
  EXPECT_EQ(folder.read("file"), "old");
  EXPECT_FALSE(NSArray::array()->writeToFile_atomically("/dev/full"_ns, false));
  EXPECT_FALSE(NSArray::array()->writeToFile_atomically(nil, false));
}

// Another implementation of both formats.
using Plist = std::unique_ptr<void, foundation::Releaser<plist_free>>;

Plist plistFrom(const Ref<NSData>& data, NSPropertyListFormat format) {
  plist_t node = nullptr;
  const char* bytes = reinterpret_cast<const char*>(data->bytes());
  const auto length = static_cast<std::uint32_t>(data->length());
  if (format == XML) {
    plist_from_xml(bytes, length, &node);
  } else {
    plist_from_bin(bytes, length, &node);
  }
  return Plist(node);
}

std::string bytesFrom(const Plist& node, NSPropertyListFormat format) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  if (format == XML) {
    plist_to_xml(node.get(), &bytes, &length);
  } else {
    plist_to_bin(node.get(), &bytes, &length);
  }
  const std::string result(bytes, length);
  std::free(bytes);
  return result;
}

TEST(NSPropertyList, AnotherImplementationReadsWhatIsWrittenAndTheOtherWayRound) {
  const auto list = as<NSMutableDictionary>(everyType()->mutableCopy());
  list->removeObjectForKey("infinite"_ns);  // not in its XML
  list->removeObjectForKey("tiny"_ns);
  for (const auto written : {binary, XML}) {
    // Its XML reader takes the form of a reference for a dictionary.
    if (written == XML) list->removeObjectForKey("uid"_ns);
    const Plist node = plistFrom(encoded(list, written), written);
    ASSERT_TRUE(node);
    EXPECT_TRUE(NSEqualObjects(decodedText(bytesFrom(node, binary)), list));
    // Its XML writer shortens reals and leaves carriage returns bare.
    const auto exact = as<NSMutableDictionary>(list->mutableCopy());
    const auto back =
        as<NSMutableDictionary>(decoded(NSData::dataWithBytes(bytesFrom(node, XML)), NSPropertyListMutableContainers));
    ASSERT_TRUE(back);
    for (const auto& each : {exact, back}) {
      each->removeObjectForKey("real"_ns);
      each->removeObjectForKey("carriage return"_ns);
      each->removeObjectForKey("uid"_ns);
    }
    EXPECT_TRUE(NSEqualObjects(back, exact));
  }
}

// ---- Checkpoints ----

Ref<NSArray> manyRecords() {
  const auto records = NSMutableArray::array();
  for (int number = 0; number < 100; ++number) {
    records->addObject(NSDictionary::dictionary({{"Number"_ns, NSNumber::numberWithInteger(number)}}));
  }
  return records;
}

TEST(NSPropertyList, ReadingAndWritingPassTheCheckpointAgainAndAgain) {
  const TemporaryDirectory folder;
  int passed = 0;
  const auto checkpoint = [&] { return ++passed > 0; };
  EXPECT_TRUE(foundation::writePropertyList(manyRecords(), folder.text("list"), false, checkpoint));
  EXPECT_GE(passed, 100);
  encoded(manyRecords(), binary)->writeToFile_atomically(folder.text("binary"), false);
  for (const auto& name : {"list"_ns, "binary"_ns}) {
    passed = 0;
    const auto path = folder.text(name->UTF8String());
    EXPECT_TRUE(NSEqualObjects(foundation::propertyListWithContentsOfFile(path, checkpoint), manyRecords()));
    EXPECT_GE(passed, 100);
  }
}

TEST(NSPropertyList, ReadingThatIsGivenUpGivesNothing) {
  const TemporaryDirectory folder;
  manyRecords()->writeToFile_atomically(folder.text("list"), false);
  int left = 50;
  EXPECT_FALSE(foundation::propertyListWithContentsOfFile(folder.text("list"), [&] { return --left > 0; }));
  EXPECT_EQ(left, 0) << "it went on";
}

TEST(NSPropertyList, WritingThatIsGivenUpLeavesTheFileAsItIs) {
  const TemporaryDirectory folder;
  folder.write("list", "what it was");
  for (const bool atomically : {false, true}) {
    int left = 50;
    EXPECT_FALSE(
        foundation::writePropertyList(manyRecords(), folder.text("list"), atomically, [&] { return --left > 0; }));
    EXPECT_EQ(left, 0) << "it went on";
    EXPECT_EQ(folder.read("list"), "what it was");
  }
}

}  // namespace
