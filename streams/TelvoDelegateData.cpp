#include "streams/TelvoDelegateData.h"

#include "categories/NSObject+Telvo.h"
#include "foundation/Foundation.h"

inline namespace telvo {

namespace {

// A missing signature names no method; only who watches everything is told.
Ref<NSString> textOf(const Ref<NSString>& signature) { return signature ? signature : ""_ns; }

}  // namespace

Class TelvoDelegateData::classObject() {
  static const NSClass object(
      "TelvoDelegateData", NSObject::classObject(),
      {
          method("delegate"_sel, &TelvoDelegateData::delegate),
          method("setDelegate:"_sel, &TelvoDelegateData::setDelegate),
          method("informDelegateUsingSignature:"_sel, &TelvoDelegateData::informDelegateUsingSignature),
          method("informDelegateUsingSignature:withObject:"_sel,
                 &TelvoDelegateData::informDelegateUsingSignature_withObject),
          method("informDelegateUsingSignature:withArguments:"_sel,
                 &TelvoDelegateData::informDelegateUsingSignature_withArguments),
          method("_mainThreadInformDelegate:"_sel, &TelvoDelegateData::_mainThreadInformDelegate),
      });
  return &object;
}

id TelvoDelegateData::delegate() const {
  const std::lock_guard lock(mutex_);
  return delegate_;
}

void TelvoDelegateData::setDelegate(const id& delegate) {
  // The old delegate goes after the lock does: its last reference may be this one, and its end may ask for it.
  id old = delegate;
  const std::lock_guard lock(mutex_);
  delegate_.swap(old);
}

void TelvoDelegateData::informDelegateUsingSignature(const Ref<NSString>& signature) {
  deliver(NSDictionary::dictionary(
      {{"Signature"_ns, textOf(signature)}, {"ObjectCount"_ns, NSNumber::numberWithInteger(0)}}));
}

void TelvoDelegateData::informDelegateUsingSignature_withObject(const Ref<NSString>& signature, const id& object) {
  deliver(NSDictionary::dictionary({{"Signature"_ns, textOf(signature)},
                                    {"Object"_ns, object ? object : id(""_ns)},
                                    {"ObjectCount"_ns, NSNumber::numberWithInteger(1)}}));
}

void TelvoDelegateData::informDelegateUsingSignature_withArguments(const Ref<NSString>& signature,
                                                                   const Ref<NSArray>& arguments) {
  if (!arguments || arguments->count() == 0) return informDelegateUsingSignature(signature);
  deliver(NSDictionary::dictionary({{"Signature"_ns, textOf(signature)},
                                    {"Object"_ns, arguments},
                                    {"ObjectCount"_ns, NSNumber::numberWithInteger(-1)}}));
}

void TelvoDelegateData::deliver(const Ref<NSDictionary>& parameters) {
  performSelectorOnMainThread_withObject_waitUntilDone("_mainThreadInformDelegate:"_sel, parameters, true);
}

void TelvoDelegateData::_mainThreadInformDelegate(const Ref<NSDictionary>& parameters) {
  try {
    callDelegate(parameters);
  } catch (const Ref<NSException>& exception) {
    NSLog("Exception %@ (%@) occurred when informing delegate: parameters = %@"_ns, exception->name(),
          exception->reason(), parameters);
  }
}

// The delegate is asked for anew each time: an earlier call may have changed it.
void TelvoDelegateData::callDelegate(const Ref<NSDictionary>& parameters) {
  const SEL selector = SEL::named(as<NSString>(parameters->objectForKey("Signature"_ns))->UTF8String());
  const id object = parameters->objectForKey("Object"_ns);
  const NSInteger count = as<NSNumber>(parameters->objectForKey("ObjectCount"_ns))->integerValue();
  if (const id receiver = delegate(); receiver && receiver->respondsToSelector(selector)) {
    if (count < 0) {
      const auto arguments = NSArray::arrayWithObject(self())->arrayByAddingObjectsFromArray(as<NSArray>(object));
      telvo_performSelector_withArguments(receiver, selector, arguments);
    } else if (count == 1) {
      receiver->performSelector_withObject_withObject(selector, self(), object);
    } else {
      receiver->performSelector_withObject(selector, self());
    }
  }
  const SEL watching = "delegateData:sentDelegateMessage:"_sel;
  if (const id receiver = delegate(); receiver && receiver->respondsToSelector(watching)) {
    receiver->performSelector_withObject_withObject(watching, self(), parameters);
  }
}

}  // namespace telvo
