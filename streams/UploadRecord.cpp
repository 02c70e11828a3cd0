#include "streams/UploadRecord.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "foundation/Foundation.h"
#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace streams {

namespace {

Ref<NSString> textForKey(const NSDictionary& record, const Ref<NSString>& key) {
  const auto text = as<NSString>(record.objectForKey(key));
  return text ? text : ""_ns;
}

bool boolForKey(const NSDictionary& record, const Ref<NSString>& key) {
  const auto number = as<NSNumber>(record.objectForKey(key));
  return number && number->boolValue();
}

// The cached-information file keeps whole seconds.
double secondsOf(const NSDictionary& record) {
  const auto date = as<NSDate>(record.objectForKey("ModificationDate"_ns));
  return date ? std::floor(date->timeIntervalSince1970()) : -HUGE_VAL;
}

// The texts of a record that XML may not be able to hold, each with the key of the data that stands in for it.
const auto& pathKeys() {
  static const std::array<std::pair<Ref<NSString>, Ref<NSString>>, 2> keys{
      {{"LocalPath"_ns, "LocalPathData"_ns}, {"RemoteDirectory"_ns, "RemoteDirectoryData"_ns}}};
  return keys;
}

bool isHeldByXML(const NSString& text) {
  const std::u16string_view units = text.units();
  for (std::size_t index = 0; index < units.size(); index += foundation::lengthOfCharacterAt(units, index)) {
    const char32_t character = foundation::characterAt(units, index);
    // A carriage return would be read as a line feed.
    if (character < 0x20 && character != U'\t' && character != U'\n') return false;
    if (foundation::isSurrogate(character) || character == 0xFFFE || character == 0xFFFF) return false;
  }
  return true;
}

}  // namespace

Ref<NSString> localPathOf(const NSDictionary& record) { return textForKey(record, "LocalPath"_ns); }

Ref<NSString> remoteDirectoryOf(const NSDictionary& record) { return textForKey(record, "RemoteDirectory"_ns); }

Ref<NSString> remotePathOf(const NSDictionary& record) {
  return remoteDirectoryOf(record)->stringByAppendingPathComponent(localPathOf(record)->lastPathComponent());
}

bool isDirectory(const NSDictionary& record) { return boolForKey(record, "IsDirectory"_ns); }

bool isRemoval(const NSDictionary& record) { return boolForKey(record, "IsRemoval"_ns); }

bool isSameState(const NSDictionary& left, const NSDictionary& right) {
  if (isDirectory(left) != isDirectory(right)) return false;
  if (!localPathOf(left)->isEqualToString(localPathOf(right))) return false;
  if (!remoteDirectoryOf(left)->isEqualToString(remoteDirectoryOf(right))) return false;
  // A file without a date is in no state that another could be in as well.
  return isDirectory(left) || (std::isfinite(secondsOf(left)) && secondsOf(left) == secondsOf(right));
}

Ref<NSDictionary> removalOf(const Ref<NSDictionary>& record) {
  const auto removal = NSMutableDictionary::dictionaryWithDictionary(record);
  removal->setObject_forKey(NSNumber::numberWithBool(true), "IsRemoval"_ns);
  return removal;
}

Ref<NSDictionary> withoutDate(const Ref<NSDictionary>& record) {
  const auto undated = NSMutableDictionary::dictionaryWithDictionary(record);
  undated->removeObjectForKey("ModificationDate"_ns);
  return undated;
}

Ref<NSDictionary> recordForFile(const Ref<NSDictionary>& record) {
  Ref<NSMutableDictionary> complete;
  for (const auto& [textKey, dataKey] : pathKeys()) {
    const auto text = textForKey(*record, textKey);
    if (isHeldByXML(*text)) continue;
    if (!complete) complete = NSMutableDictionary::dictionaryWithDictionary(record);
    complete->setObject_forKey(NSData::dataWithBytes(text->UTF8String()), dataKey);
  }
  return complete ? Ref<NSDictionary>(complete) : record;
}

Ref<NSDictionary> recordFromFile(const Ref<NSDictionary>& record) {
  Ref<NSMutableDictionary> complete;
  for (const auto& [textKey, dataKey] : pathKeys()) {
    const auto data = as<NSData>(record->objectForKey(dataKey));
    if (!data) continue;
    if (!complete) complete = NSMutableDictionary::dictionaryWithDictionary(record);
    complete->setObject_forKey(NSString::stringWithUTF8String(data->view()), textKey);
    complete->removeObjectForKey(dataKey);
  }
  return complete ? Ref<NSDictionary>(complete) : record;
}

}  // namespace streams

}  // namespace telvo
