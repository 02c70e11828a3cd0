#pragma once

#include <atomic>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/runtime/NSMethod.h"
#include "foundation/runtime/NSObjCRuntime.h"
#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSCoder;
class NSDictionary;
class NSMethodSignature;
class NSString;

// How the objects of one class travel through an archive; see NSCoder.h. Subclasses do not inherit it: each class
// says for itself how its instances are made.
struct NSCoding {
  void (*encodeWithCoder)(const NSObject& object, NSCoder& coder) = nullptr;
  id (*initWithCoder)(NSCoder& coder) = nullptr;  // a new object; nil when the archive lacks what it needs
  bool supportsSecureCoding = false;

  // For a class with the members
  //   void encodeWithCoder(NSCoder& coder) const;
  //   static id initWithCoder(NSCoder& coder);
  // which names the class of everything that it decodes.
  template <class T>
  static NSCoding secure() {
    return {[](const NSObject& object, NSCoder& coder) { static_cast<const T&>(object).encodeWithCoder(coder); },
            [](NSCoder& coder) -> id { return T::initWithCoder(coder); }, true};
  }
};

// What a class is at run time: its name, its superclass and the methods that can be called by name. Made once per
// class, in its classObject(), and kept for the life of the process: threads that still run while the process exits
// may go on calling methods by name.
class NSClass {
 public:
  NSClass(const char* name, const NSClass* superclass, std::vector<NSMethod> methods = {}, NSCoding coding = {});
  NSClass(const NSClass&) = delete;
  NSClass& operator=(const NSClass&) = delete;

  const char* name() const { return name_; }
  const NSClass* superclass() const { return superclass_; }

  // The class itself counts.
  bool isSubclassOfClass(const NSClass* other) const;

  // The method that instances answer the selector with, inherited ones and added ones included; null when there is
  // none. The pointer stays valid for the life of the process. Any thread.
  const NSMethod* methodForSelector(SEL selector) const;

  // Adds the methods of a category; an existing method of the same selector in this very class is replaced. Done by
  // the category's unit before main; not to be mixed with look-ups on other threads.
  void addMethods(std::vector<NSMethod> methods) const;

  // How this very class is archived; null when it is not. setCoding() is for the unit that gives the class its coding,
  // before the first archive is read or written.
  const NSCoding* coding() const { return coding_.initWithCoder ? &coding_ : nullptr; }
  void setCoding(NSCoding coding) const { coding_ = coding; }

 private:
  const char* name_;
  const NSClass* superclass_;
  struct Hash {
    std::size_t operator()(SEL selector) const noexcept { return selector.hash(); }
  };
  std::unordered_map<SEL, NSMethod, Hash>& methods_ = *new std::unordered_map<SEL, NSMethod, Hash>;  // never destroyed
  mutable NSCoding coding_;
};

using Class = const NSClass*;

// At namespace scope in a class's .cpp: makes the class known by name before main.
struct NSRegisteredClass {
  explicit NSRegisteredClass([[maybe_unused]] Class registered) {}
};

// Extension methods as part of a class, so that they too are called by name: a static object in the extending unit,
//   const NSCategory category(NSArray::classObject(), {method("telvo_reverseArray"_sel, &telvo_reverseArray)});
// A program answers the selectors of the units that it links.
struct NSCategory {
  NSCategory(Class extended, std::vector<NSMethod> methods) { extended->addMethods(std::move(methods)); }
};

// The class of that name when it has been used or registered (NSRegisteredClass) in this process, else null.
Class NSClassFromString(std::string_view name);

// In a class's header, in any namespace: what every class declares. Its .cpp defines classObject() with the table of
// named methods.
#define NS_OBJECT(Type, Base)                                   \
 public:                                                        \
  using Super = Base;                                           \
  static ::telvo::Class classObject();                          \
  ::telvo::Class isa() const override { return classObject(); } \
                                                                \
 private:

namespace foundation {

// Bits of the reference count beyond any number of references: weak references were made of the object (WeakRef.h),
// and the object's destructor runs.
inline constexpr std::uint64_t weaklyReferencedBit = std::uint64_t{1} << 63U;
inline constexpr std::uint64_t dyingBit = std::uint64_t{1} << 62U;

// For WeakRef.cpp: false when nobody holds the object any more.
bool retainIfAlive(NSObject* object) noexcept;
bool markWeaklyReferenced(NSObject* object) noexcept;
void forgetWeakReferences(NSObject* object) noexcept;

// For the last release().
void destroy(NSObject* object) noexcept;

}  // namespace foundation

// The root class. Objects are made with make<T>() and live as long as a Ref to them does.
class NSObject {
 public:
  NSObject() = default;
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;
  virtual ~NSObject() = default;

  static Class classObject();
  virtual Class isa() const { return classObject(); }
  Ref<NSString> className() const;
  bool isKindOfClass(Class other) const { return isa()->isSubclassOfClass(other); }
  bool isMemberOfClass(Class other) const { return isa() == other; }

  // Methods by name. The three performing calls and methodSignatureForSelector() raise NSInvalidArgumentException for
  // a selector that the object does not respond to. Arguments are converted as NSMethod says; a result that is not
  // an object is boxed in an NSNumber, void gives nil.
  virtual bool respondsToSelector(SEL selector) const;
  Ref<NSMethodSignature> methodSignatureForSelector(SEL selector) const;
  id performSelector(SEL selector);
  id performSelector_withObject(SEL selector, const id& object);
  id performSelector_withObject_withObject(SEL selector, const id& first, const id& second);

  // Performs the selector on the main thread, after what other threads asked for earlier. With waiting it returns
  // when the method has returned; when this already is the main thread, it is performed at once, inside this call.
  // The object and the argument are kept alive until then. An exception of the method passes to the waiting caller.
  void performSelectorOnMainThread_withObject_waitUntilDone(SEL selector, const id& object, bool wait);

  // Performs the selector from this thread's run loop after at least that many seconds.
  void performSelector_withObject_afterDelay(SEL selector, const id& object, NSTimeInterval delay);

  // The text form, for logs and for comparisons by text; "<ClassName: 0x...>" unless a class gives a better one.
  virtual Ref<NSString> description() const;
  virtual bool isEqual(const id& other) const { return other.get() == this; }
  virtual NSUInteger hash() const;

  // An immutable and a mutable copy; a class that is immutable anyway answers itself for the first. A class without
  // such copies raises NSInvalidArgumentException.
  virtual id copy() const;
  virtual id mutableCopy() const;
  // Whether the class can be copied that way: the platform's two copying protocols.
  virtual bool conformsToCopying() const { return false; }
  virtual bool conformsToMutableCopying() const { return false; }

  // Key-value access. A key names a method without arguments, and for writing a method "setKey:"; other keys raise
  // NSUndefinedKeyException. Numbers are boxed and unboxed. A key path is keys joined by "."; nil on the way gives nil.
  // In an array or a set, a key that begins with "@" and has a path behind it computes something of the path's values:
  // @sum, @avg, @min, @max, @unionOfObjects, @unionOfArrays, and @distinctUnionOfObjects, ...OfArrays, ...OfSets.
  // "@count" alone is the number of elements of any collection.
  virtual id valueForKey(const Ref<NSString>& key) const;
  virtual void setValue_forKey(const id& value, const Ref<NSString>& key);
  id valueForKeyPath(const Ref<NSString>& keyPath) const;
  void setValue_forKeyPath(const id& value, const Ref<NSString>& keyPath);

  // This object as a reference.
  id self() const { return id(const_cast<NSObject*>(this)); }

 private:
  friend void foundation::retain(NSObject* object) noexcept;
  friend void foundation::release(NSObject* object) noexcept;
  friend bool foundation::retainIfAlive(NSObject* object) noexcept;
  friend bool foundation::markWeaklyReferenced(NSObject* object) noexcept;
  friend void foundation::destroy(NSObject* object) noexcept;
  std::atomic<std::uint64_t> referenceCount_{1};  // the maker's own; see below for two special bits
};

inline void foundation::retain(NSObject* object) noexcept {
  if (object) object->referenceCount_.fetch_add(1, std::memory_order_relaxed);
}
inline void foundation::release(NSObject* object) noexcept {
  if (!object) return;
  const std::uint64_t count = object->referenceCount_.fetch_sub(1, std::memory_order_acq_rel);
  if ((count & ~weaklyReferencedBit) != 1) return;
  if (count & weaklyReferencedBit) forgetWeakReferences(object);
  destroy(object);
}

// Both nil, or equal by isEqual().
bool NSEqualObjects(const id& left, const id& right);
// The object's description; nil for nil.
Ref<NSString> NSDescription(const id& object);

// Hashing and equality by content, for the standard containers.
struct NSObjectHash {
  std::size_t operator()(const id& object) const { return object ? object->hash() : 0; }
};
struct NSObjectEqual {
  bool operator()(const id& left, const id& right) const { return NSEqualObjects(left, right); }
};

TELVO_NAMESPACE_END
