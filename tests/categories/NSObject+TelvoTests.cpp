#include <gtest/gtest.h>

#include "categories/NSObject+Telvo.h"
#include "foundation/Foundation.h"

namespace {

class Recorder : public NSObject {
  NS_OBJECT(Recorder, NSObject)

 public:
  void none() { calls.emplace_back("none"); }
  void one(const id& first) { calls.push_back("one " + first->description()->UTF8String()); }
  Ref<NSString> first_second(const id& first, const Ref<NSString>& second) {
    calls.push_back(first->description()->UTF8String() + " " + second->UTF8String());
    return second;
  }
  std::vector<std::string> calls;
};

Class Recorder::classObject() {
  static const NSClass object("Recorder", NSObject::classObject(),
                              {method("none"_sel, &Recorder::none), method("one:"_sel, &Recorder::one),
                               method("first:second:"_sel, &Recorder::first_second)});
  return &object;
}

class Nameless : public NSObject {
 public:
  Ref<NSString> description() const override { return ""_ns; }
};

TEST(NSObjectTelvo, EquivalenceComparesDescriptionsIgnoringCase) {
  for (auto* isEquivalent : {&telvo_isEquivalent, &telvo_isEquivalentTo}) {
    EXPECT_TRUE(isEquivalent("ABC"_ns, "abc"_ns));
    EXPECT_TRUE(isEquivalent(NSNumber::numberWithInteger(5), "5"_ns));
    EXPECT_TRUE(isEquivalent("5"_ns, NSNumber::numberWithDouble(5)));
    EXPECT_TRUE(isEquivalent("STRASSE"_ns, "straße"_ns));
    EXPECT_FALSE(isEquivalent("abc"_ns, "abcd"_ns));
    EXPECT_FALSE(isEquivalent("a"_ns, "á"_ns));
  }
}

TEST(NSObjectTelvo, NilIsEquivalentToNothingEvenToAnEmptyDescription) {
  EXPECT_FALSE(telvo_isEquivalentTo(make<Nameless>(), nil));
  EXPECT_FALSE(telvo_isEquivalentTo(nil, make<Nameless>()));
  EXPECT_FALSE(telvo_isEquivalent(nil, nil));
  EXPECT_TRUE(telvo_isEquivalentTo(make<Nameless>(), ""_ns));
}

TEST(NSObjectTelvo, PerformsWithAnyNumberOfArguments) {
  const auto recorder = make<Recorder>();
  telvo_performSelector_withArguments(recorder, "none"_sel, NSArray::array());
  telvo_performSelector_withArguments(recorder, "none"_sel, nil);
  telvo_performSelector_withArguments(recorder, "one:"_sel, NSArray::arrayWithObject("x"_ns));
  telvo_performSelector_withArguments(recorder, "first:second:"_sel, NSArray::arrayWithObjects({"a"_ns, "b"_ns}));
  EXPECT_EQ(recorder->calls, (std::vector<std::string>{"none", "none", "one x", "a b"}));
}

TEST(NSObjectTelvo, AnotherNumberOfArgumentsCallsNothingAndLogsALine) {
  const auto recorder = make<Recorder>();
  testing::internal::CaptureStderr();
  telvo_performSelector_withArguments(recorder, "first:second:"_sel, NSArray::arrayWithObject("a"_ns));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(recorder->calls.empty());
  EXPECT_NE(log.find("performSelector:first:second: withObjects:(\n    a\n) has different number of arguments\n"),
            std::string::npos)
      << log;
}

TEST(NSObjectTelvo, TheEmptySelectorAndANilReceiverDoNothing) {
  const auto recorder = make<Recorder>();
  testing::internal::CaptureStderr();
  telvo_performSelector_withArguments(recorder, SEL(), NSArray::arrayWithObject("a"_ns));
  telvo_performSelector_withArguments(nil, "none"_sel, nil);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(recorder->calls.empty());
}

TEST(NSObjectTelvo, AnUnknownSelectorRaisesThePlatformsException) {
  EXPECT_THROW(telvo_performSelector_withArguments(make<Recorder>(), "unknown"_sel, nil), Ref<NSException>);
}

}  // namespace
