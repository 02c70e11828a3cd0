#include <thread>

#include <gtest/gtest.h>

#include "foundation/runtime/WeakRef.h"
#include "foundation/text/NSString.h"

namespace {

class Parting : public NSObject {
 public:
  explicit Parting(WeakRef<NSObject>* last) : last_(last) {}
  ~Parting() override { *last_ = WeakRef<NSObject>(self()); }

 private:
  WeakRef<NSObject>* last_;
};

TEST(WeakRef, FollowsTheObjectWithoutKeepingIt) {
  auto text = NSString::stringWithUTF8String("text");
  const WeakRef<NSString> weak(text);
  EXPECT_EQ(weak.lock(), text);
  EXPECT_FALSE(weak.expired());
  text = nil;
  EXPECT_EQ(weak.lock(), nil);
  EXPECT_TRUE(weak.expired());
}

TEST(WeakRef, IsNilForNil) {
  EXPECT_EQ(WeakRef<NSString>().lock(), nil);
  EXPECT_EQ(WeakRef<NSString>(Ref<NSString>()).lock(), nil);
}

TEST(WeakRef, TellsTheVerySameObjectFromAnEqualOneEvenAfterItHasGone) {
  auto text = NSString::stringWithUTF8String("text");
  const WeakRef<NSString> first(text);
  const WeakRef<NSString> second(text);
  EXPECT_EQ(first, second);
  EXPECT_NE(first, WeakRef<NSString>(NSString::stringWithUTF8String("text")));
  text = nil;
  EXPECT_EQ(first, second);
}

TEST(WeakRef, MadeInTheDestructorIsNil) {
  WeakRef<NSObject> weak;
  make<Parting>(&weak);
  EXPECT_EQ(weak.lock(), nil);
}

TEST(WeakRef, OtherThreadsGetTheObjectOrNil) {
  for (int round = 0; round < 200; ++round) {
    auto text = NSString::stringWithUTF8String("text");
    const WeakRef<NSString> weak(text);
    std::thread reader([weak] {
      while (const auto seen = weak.lock()) EXPECT_EQ(seen->length(), 4U);
    });
    text = nil;
    reader.join();
  }
}

}  // namespace
