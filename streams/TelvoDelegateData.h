#pragma once

#include <mutex>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSDictionary;
class NSString;

// Holds one delegate and delivers named notifications to it. A notification's name is the selector of a delegate
// method, as a text; the method's first argument is always the informer itself. Whatever thread informs, the delegate
// is called on the main thread, and the informing thread waits until it has returned. A delegate that does not
// implement a method is passed over; a platform exception that it raises is logged and goes no further.
//
// A delegate that implements "delegateData:sentDelegateMessage:" gets it after each notification, with the informer
// and a dictionary: "Signature" (the name), "ObjectCount" (0: no further argument, 1: one, in "Object"; -1: those of
// the array in "Object").
class TelvoDelegateData : public NSObject {
  NS_OBJECT(TelvoDelegateData, NSObject)

 public:
  // The informer keeps its delegate alive. Any thread.
  id delegate() const;
  void setDelegate(const id& delegate);

  // Any thread. A nil object is delivered as the empty text; an empty or nil array as no further argument.
  void informDelegateUsingSignature(const Ref<NSString>& signature);
  void informDelegateUsingSignature_withObject(const Ref<NSString>& signature, const id& object);
  void informDelegateUsingSignature_withArguments(const Ref<NSString>& signature, const Ref<NSArray>& arguments);

 private:
  void deliver(const Ref<NSDictionary>& parameters);
  void _mainThreadInformDelegate(const Ref<NSDictionary>& parameters);
  void callDelegate(const Ref<NSDictionary>& parameters);

  mutable std::mutex mutex_;
  id delegate_;
};

TELVO_NAMESPACE_END
