#include "foundation/preferences/NSUserDefaults.h"

#include <cstring>

#include <strings.h>
#include <sys/prctl.h>

#include "foundation/coding/NSPropertyList.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NestingLevel.h"
#include "foundation/errors/NSException.h"
#include "foundation/files/NSBundle.h"
#include "foundation/preferences/PreferencesFile.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

// The one argument domain of the process.
class Arguments {
 public:
  static Arguments& shared() {
    static Arguments& arguments = *new Arguments;
    return arguments;
  }
  Ref<NSDictionary> get() {
    const std::lock_guard lock(mutex_);
    return values_;
  }
  void set(const Ref<NSDictionary>& values) {
    const std::lock_guard lock(mutex_);
    values_ = values;
  }

 private:
  std::mutex mutex_;
  Ref<NSDictionary> values_ = NSDictionary::dictionary();
};

void requireKey(const Ref<NSString>& key) {
  if (!key) NSException::raise_format(NSInvalidArgumentException(), "nil key in the user defaults"_ns);
}

id immutableCopy(const id& value) {
  const foundation::NestingLevel level;
  if (const auto array = as<NSArray>(value)) {
    std::vector<id> elements = array->objects();
    for (id& element : elements) element = immutableCopy(element);
    return NSArray::arrayWithVector(std::move(elements));
  }
  if (const auto dictionary = as<NSDictionary>(value)) {
    std::vector<NSDictionary::Entry> entries(dictionary->begin(), dictionary->end());
    for (auto& [key, object] : entries) object = immutableCopy(object);
    return NSDictionary::dictionaryWithEntries(std::move(entries));
  }
  return value->conformsToCopying() ? value->copy() : value;
}

// An immutable copy of all of it, which also shows whether it can be kept at all: under its key in a dictionary.
id propertyListCopy(const id& value, const Ref<NSString>& key) {
  const auto data = NSPropertyListSerialization::dataWithPropertyList_format_options_error(
      NSDictionary::dictionary({{key, value}}), NSPropertyListBinaryFormat_v1_0, 0, nullptr);
  if (!data) {
    NSException::raise_format(NSInvalidArgumentException(),
                              "Attempt to insert non-property list object %@ for key %@"_ns, value, key);
  }
  const auto copy = as<NSDictionary>(NSPropertyListSerialization::propertyListWithData_options_format_error(
      data, NSPropertyListImmutable, nullptr, nullptr));
  return copy->objectForKey(key);
}

}  // namespace

const Ref<NSString>& NSArgumentDomain() { return "NSArgumentDomain"_ns; }
const Ref<NSString>& NSRegistrationDomain() { return "NSRegistrationDomain"_ns; }

Class NSUserDefaults::classObject() {
  static const NSClass object("NSUserDefaults", NSObject::classObject(),
                              {
                                  method("objectForKey:"_sel, &NSUserDefaults::objectForKey),
                                  method("stringForKey:"_sel, &NSUserDefaults::stringForKey),
                                  method("arrayForKey:"_sel, &NSUserDefaults::arrayForKey),
                                  method("dictionaryForKey:"_sel, &NSUserDefaults::dictionaryForKey),
                                  method("dataForKey:"_sel, &NSUserDefaults::dataForKey),
                                  method("boolForKey:"_sel, &NSUserDefaults::boolForKey),
                                  method("integerForKey:"_sel, &NSUserDefaults::integerForKey),
                                  method("doubleForKey:"_sel, &NSUserDefaults::doubleForKey),
                                  method("setObject:forKey:"_sel, &NSUserDefaults::setObject_forKey),
                                  method("setBool:forKey:"_sel, &NSUserDefaults::setBool_forKey),
                                  method("setInteger:forKey:"_sel, &NSUserDefaults::setInteger_forKey),
                                  method("setDouble:forKey:"_sel, &NSUserDefaults::setDouble_forKey),
                                  method("removeObjectForKey:"_sel, &NSUserDefaults::removeObjectForKey),
                                  method("registerDefaults:"_sel, &NSUserDefaults::registerDefaults),
                                  method("volatileDomainForName:"_sel, &NSUserDefaults::volatileDomainForName),
                                  method("persistentDomainForName:"_sel, &NSUserDefaults::persistentDomainForName),
                                  method("dictionaryRepresentation"_sel, &NSUserDefaults::dictionaryRepresentation),
                                  method("synchronize"_sel, &NSUserDefaults::synchronize),
                              });
  return &object;
}

NSUserDefaults::NSUserDefaults(const Ref<NSString>& bundleIdentifier)
    : identifier_(bundleIdentifier),
      file_(std::make_unique<foundation::PreferencesFile>(bundleIdentifier)),
      registered_(NSDictionary::dictionary()) {}

NSUserDefaults::~NSUserDefaults() = default;

const Ref<NSUserDefaults>& NSUserDefaults::standardUserDefaults() {
  static const Ref<NSUserDefaults>& defaults =
      *new Ref(make<NSUserDefaults>(NSBundle::mainBundle()->bundleIdentifier()));
  return defaults;
}

void NSUserDefaults::takeArguments(int argc, char** argv) {
  const auto values = NSMutableDictionary::dictionary();
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument(argv[i]);
    if (argument.size() < 2 || argument.front() != '-' || i + 1 == argc) continue;
    const auto key = NSString::stringWithUTF8String(argument.substr(1));
    values->setObject_forKey(NSString::stringWithUTF8String(argv[++i]), key);
  }
  Arguments::shared().set(as<NSDictionary>(values->copy()));
  // Neither in the memory that other processes of the same user may look at, nor in a core file.
  prctl(PR_SET_DUMPABLE, 0);
  for (int i = 1; i < argc; ++i) explicit_bzero(argv[i], std::strlen(argv[i]));
}

id NSUserDefaults::objectForKey(const Ref<NSString>& key) const {
  if (!key) return nil;
  if (const id argument = Arguments::shared().get()->objectForKey(key)) return argument;
  if (const auto saved = file_->content()) {
    if (const id value = saved->objectForKey(key)) return value;
  }
  const std::lock_guard lock(mutex_);
  return registered_->objectForKey(key);
}

Ref<NSString> NSUserDefaults::stringForKey(const Ref<NSString>& key) const {
  const id value = objectForKey(key);
  if (const auto number = as<NSNumber>(value)) return number->stringValue();
  return as<NSString>(value);
}

Ref<NSArray> NSUserDefaults::arrayForKey(const Ref<NSString>& key) const { return as<NSArray>(objectForKey(key)); }

Ref<NSDictionary> NSUserDefaults::dictionaryForKey(const Ref<NSString>& key) const {
  return as<NSDictionary>(objectForKey(key));
}

Ref<NSData> NSUserDefaults::dataForKey(const Ref<NSString>& key) const { return as<NSData>(objectForKey(key)); }

bool NSUserDefaults::boolForKey(const Ref<NSString>& key) const {
  return foundation::boolFromObject(objectForKey(key));
}

NSInteger NSUserDefaults::integerForKey(const Ref<NSString>& key) const {
  return foundation::integerFromObject(objectForKey(key));
}

double NSUserDefaults::doubleForKey(const Ref<NSString>& key) const {
  return foundation::doubleFromObject(objectForKey(key));
}

void NSUserDefaults::setObject_forKey(const id& object, const Ref<NSString>& key) {
  requireKey(key);
  file_->change(as<NSString>(key->copy()), object ? propertyListCopy(object, key) : nil);
}

void NSUserDefaults::setBool_forKey(bool value, const Ref<NSString>& key) {
  setObject_forKey(NSNumber::numberWithBool(value), key);
}

void NSUserDefaults::setInteger_forKey(NSInteger value, const Ref<NSString>& key) {
  setObject_forKey(NSNumber::numberWithInteger(value), key);
}

void NSUserDefaults::setDouble_forKey(double value, const Ref<NSString>& key) {
  setObject_forKey(NSNumber::numberWithDouble(value), key);
}

void NSUserDefaults::removeObjectForKey(const Ref<NSString>& key) { setObject_forKey(nil, key); }

void NSUserDefaults::registerDefaults(const Ref<NSDictionary>& defaults) {
  if (!defaults) return;
  const auto added = as<NSDictionary>(immutableCopy(defaults));
  const std::lock_guard lock(mutex_);
  const auto all = NSMutableDictionary::dictionaryWithDictionary(registered_);
  all->addEntriesFromDictionary(added);
  registered_ = as<NSDictionary>(all->copy());
}

Ref<NSDictionary> NSUserDefaults::volatileDomainForName(const Ref<NSString>& name) const {
  if (NSEqualObjects(name, NSArgumentDomain())) return Arguments::shared().get();
  if (!NSEqualObjects(name, NSRegistrationDomain())) return nil;
  const std::lock_guard lock(mutex_);
  return registered_;
}

Ref<NSDictionary> NSUserDefaults::persistentDomainForName(const Ref<NSString>& name) const {
  if (NSEqualObjects(name, identifier_)) return file_->content();
  return foundation::PreferencesFile(name).content();
}

Ref<NSDictionary> NSUserDefaults::dictionaryRepresentation() const {
  const auto all = NSMutableDictionary::dictionary();
  all->addEntriesFromDictionary(volatileDomainForName(NSRegistrationDomain()));
  all->addEntriesFromDictionary(file_->content());
  all->addEntriesFromDictionary(Arguments::shared().get());
  return as<NSDictionary>(all->copy());
}

id NSUserDefaults::valueForKey(const Ref<NSString>& key) const { return objectForKey(key); }
void NSUserDefaults::setValue_forKey(const id& value, const Ref<NSString>& key) { setObject_forKey(value, key); }

bool NSUserDefaults::synchronize() { return file_->writeChanges(); }

}  // namespace telvo
