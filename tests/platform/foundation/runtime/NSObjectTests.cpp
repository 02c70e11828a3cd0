#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

class Lamp : public NSObject {
  NS_OBJECT(Lamp, NSObject)

 public:
  bool isOn() const { return on_; }
  void setOn(bool on) { on_ = on; }
  Ref<NSString> label() const { return label_; }
  void setLabel(const Ref<NSString>& label) { label_ = label; }
  NSInteger add_to(const Ref<NSNumber>& left, NSInteger right) { return left->integerValue() + right; }

 private:
  bool on_ = false;
  Ref<NSString> label_ = "lamp"_ns;
};

Class Lamp::classObject() {
  static const NSClass object("Lamp", NSObject::classObject(),
                              {
                                  method("on"_sel, &Lamp::isOn),
                                  method("setOn:"_sel, &Lamp::setOn),
                                  method("label"_sel, &Lamp::label),
                                  method("setLabel:"_sel, &Lamp::setLabel),
                                  method("add:to:"_sel, &Lamp::add_to),
                              });
  return &object;
}

class DyingObject : public NSObject {
 public:
  explicit DyingObject(int* deaths) : deaths_(deaths) {}
  ~DyingObject() override {
    const id again = self();
    ++*deaths_;
  }

 private:
  int* deaths_;
};

TEST(NSObject, SelectorsOfEqualTextAreEqual) {
  EXPECT_EQ("streamDataEnded:"_sel, SEL::named("streamDataEnded:"));
  EXPECT_NE("streamDataEnded"_sel, "streamDataEnded:"_sel);
  EXPECT_FALSE(SEL::named(""));
  EXPECT_EQ("a:b:c"_sel.numberOfArguments(), 2U);
}

TEST(NSObject, MethodsAreCalledByName) {
  const auto lamp = make<Lamp>();
  EXPECT_TRUE(lamp->respondsToSelector("setOn:"_sel));
  EXPECT_FALSE(lamp->respondsToSelector("dim"_sel));
  lamp->performSelector_withObject("setOn:"_sel, NSNumber::numberWithBool(true));
  EXPECT_TRUE(lamp->isOn());
  const id sum = lamp->performSelector_withObject_withObject("add:to:"_sel, NSNumber::numberWithInteger(40),
                                                             NSNumber::numberWithInteger(2));
  EXPECT_EQ(as<NSNumber>(sum)->integerValue(), 42);
}

TEST(NSObject, UnknownSelectorRaises) {
  const auto lamp = make<Lamp>();
  EXPECT_THROW(lamp->performSelector("dim"_sel), Ref<NSException>);
  EXPECT_THROW(lamp->methodSignatureForSelector("dim"_sel), Ref<NSException>);
}

TEST(NSObject, ArgumentOfAnotherClassArrivesAsNil) {
  const auto lamp = make<Lamp>();
  lamp->performSelector_withObject("setLabel:"_sel, NSNumber::numberWithInteger(1));
  EXPECT_EQ(lamp->label(), nil);
}

TEST(NSObject, InvocationsCarryArgumentsAndResults) {
  const auto lamp = make<Lamp>();
  const auto invocation = NSInvocation::invocationWithMethodSignature(lamp->methodSignatureForSelector("add:to:"_sel));
  EXPECT_EQ(invocation->methodSignature()->numberOfArguments(), 4U);
  invocation->setSelector("add:to:"_sel);
  invocation->setArgument_atIndex(NSNumber::numberWithInteger(2), 2);
  invocation->setArgument_atIndex("3"_ns, 3);
  invocation->invokeWithTarget(lamp);
  EXPECT_EQ(invocation->integerReturnValue(), 5);
  EXPECT_THROW(invocation->setArgument_atIndex(nil, 4), Ref<NSException>);
}

TEST(NSObject, InvocationsGiveUnsignedResultsByTheirBits) {
  const auto number = NSNumber::numberWithUnsignedInteger(NSUIntegerMax);
  const auto invocation =
      NSInvocation::invocationWithMethodSignature(number->methodSignatureForSelector("unsignedIntegerValue"_sel));
  invocation->setSelector("unsignedIntegerValue"_sel);
  invocation->invokeWithTarget(number);
  EXPECT_EQ(invocation->integerReturnValue(), -1);
}

bool dimmed = false;
void dim(const Ref<Lamp>&) { dimmed = true; }

TEST(NSObject, CategoriesAddMethodsToAClass) {
  const auto lamp = make<Lamp>();
  EXPECT_FALSE(lamp->respondsToSelector("dimmer"_sel));
  const NSCategory category(Lamp::classObject(), {method("dimmer"_sel, &dim)});
  lamp->performSelector("dimmer"_sel);
  EXPECT_TRUE(dimmed);
}

TEST(NSObject, KeyValueAccessReadsTheSameTable) {
  const auto lamp = make<Lamp>();
  lamp->setValue_forKey(NSNumber::numberWithBool(true), "on"_ns);
  EXPECT_TRUE(as<NSNumber>(lamp->valueForKey("on"_ns))->isBool());
  EXPECT_EQ(as<NSNumber>(lamp->valueForKeyPath("label.length"_ns))->integerValue(), 4);
  EXPECT_THROW(lamp->valueForKey("colour"_ns), Ref<NSException>);
  EXPECT_THROW(lamp->setValue_forKey(nil, "on"_ns), Ref<NSException>);
}

TEST(NSObject, ReferencesTakenWhileDyingDoNotKillTwice) {
  int deaths = 0;
  { const auto object = make<DyingObject>(&deaths); }
  EXPECT_EQ(deaths, 1);
}

TEST(NSObject, ObjectsWithoutCopiesRaise) {
  const auto lamp = make<Lamp>();
  EXPECT_THROW(lamp->copy(), Ref<NSException>);
  EXPECT_THROW(lamp->mutableCopy(), Ref<NSException>);
}

TEST(NSObject, ClassesAreFoundByName) {
  const Class lamp = Lamp::classObject();
  EXPECT_EQ(NSClassFromString("Lamp"), lamp);
  EXPECT_EQ(NSClassFromString("Lantern"), nullptr);
  EXPECT_TRUE(NSMutableString::classObject()->isSubclassOfClass(NSString::classObject()));
}

}  // namespace
