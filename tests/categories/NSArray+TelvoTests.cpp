#include <gtest/gtest.h>

#include "categories/NSArray+Telvo.h"
#include "foundation/Foundation.h"

namespace {

TEST(NSArrayTelvo, TheLowestEquivalentIndexWins) {
  const auto array = NSArray::arrayWithObjects({"a"_ns, "B"_ns, "b"_ns});
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, "b"_ns), 1U);
  EXPECT_TRUE(telvo_containsObjectEquivalentTo(array, "A"_ns));
}

TEST(NSArrayTelvo, NoMatchAnEmptyArrayAndNilGiveNotFound) {
  const auto array = NSArray::arrayWithObjects({"a"_ns, "B"_ns});
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, "c"_ns), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, nil), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(NSArray::array(), "a"_ns), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(nil, "a"_ns), NSNotFound);
  EXPECT_FALSE(telvo_containsObjectEquivalentTo(array, "c"_ns));
  EXPECT_FALSE(telvo_containsObjectEquivalentTo(nil, "c"_ns));
}

TEST(NSArrayTelvo, FindsRecordsWhateverTheOrderOfTheirKeys) {
  const auto record = NSDictionary::dictionary({{"LocalPath"_ns, "/A/x"_ns}, {"RemoteDirectory"_ns, "/"_ns}});
  const auto same = NSDictionary::dictionary({{"RemoteDirectory"_ns, "/"_ns}, {"LocalPath"_ns, "/a/X"_ns}});
  const auto array = NSArray::arrayWithObjects({NSDictionary::dictionary(), record});
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, same), 1U);
}

// Its description takes elements out of the array that it stands in.
class ShrinkingElement : public NSObject {
 public:
  Ref<NSMutableArray> array;
  Ref<NSString> description() const override {
    while (array->count() > 1) array->removeLastObject();
    return "x"_ns;
  }
};

TEST(NSArrayTelvo, ReadsTheCountAfreshForEachStep) {
  const auto element = make<ShrinkingElement>();
  const auto array = NSMutableArray::arrayWithObjects({element, "y"_ns, "z"_ns});
  element->array = array;
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, "z"_ns), NSNotFound);
  element->array = nil;  // the two own each other
}

}  // namespace
