#include "foundation/collections/NSData.h"

#include "foundation/collections/Base64.h"
#include "foundation/errors/NSException.h"
#include "foundation/files/FileIO.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSData::classObject() {
  static const NSClass object("NSData", NSObject::classObject(), {method("length"_sel, &NSData::length)});
  return &object;
}

Class NSMutableData::classObject() {
  static const NSClass object("NSMutableData", NSData::classObject(), {});
  return &object;
}

Ref<NSData> NSData::data() { return make<NSData>(); }

Ref<NSData> NSData::dataWithBytes_length(const void* bytes, NSUInteger length) {
  return make<NSData>(std::string(static_cast<const char*>(bytes), length));
}

Ref<NSData> NSData::dataWithBytes(std::string bytes) { return make<NSData>(std::move(bytes)); }

Ref<NSData> NSData::dataWithContentsOfFile(const Ref<NSString>& path) {
  const auto name = foundation::systemPath(path);
  auto bytes = name ? foundation::contentsOfFile(*name) : std::nullopt;
  return bytes ? dataWithBytes(std::move(*bytes)) : Ref<NSData>();
}

bool NSData::writeToFile_atomically(const Ref<NSString>& path, bool atomically) const {
  const auto name = foundation::systemPath(path);
  return name && foundation::writeFile(*name, bytes_, atomically);
}

Ref<NSData> NSData::subdataWithRange(NSRange range) const {
  if (range.location > length() || range.length > length() - range.location) {
    NSException::raise_format(NSRangeException(), "range {%lu, %lu} exceeds data length %lu"_ns, range.location,
                              range.length, length());
  }
  return make<NSData>(bytes_.substr(range.location, range.length));
}

Ref<NSData> NSData::dataWithBase64EncodedString_options(const Ref<NSString>& text, NSUInteger options) {
  if (!text) return nil;
  using foundation::UnknownCharacters;
  const auto unknown = options & NSDataBase64DecodingIgnoreUnknownCharacters ? UnknownCharacters::ArePassedOver
                                                                             : UnknownCharacters::AreRefused;
  std::optional<std::string> bytes = foundation::bytesFromBase64(text->units(), unknown);
  return bytes ? make<NSData>(*std::move(bytes)) : nil;
}

Ref<NSString> NSData::base64EncodedString() const {
  return NSString::stringWithUTF8String(foundation::base64FromBytes(bytes_));
}

Ref<NSString> NSData::description() const {
  static constexpr std::string_view digits = "0123456789abcdef";
  std::u16string text = u"<";
  text.reserve(bytes_.size() * 9 / 4 + 2);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (i > 0 && i % 4 == 0) text.push_back(u' ');
    const auto byte = static_cast<unsigned char>(bytes_[i]);
    text.push_back(static_cast<char16_t>(digits[byte >> 4U]));
    text.push_back(static_cast<char16_t>(digits[byte & 15U]));
  }
  text.push_back(u'>');
  return NSString::stringWithUnits(std::move(text));
}

bool NSData::isEqual(const id& other) const {
  const auto data = as<NSData>(other);
  return data && bytes_ == data->bytes_;
}

NSUInteger NSData::hash() const { return std::hash<std::string>()(bytes_); }
id NSData::copy() const { return self(); }
id NSData::mutableCopy() const { return make<NSMutableData>(bytes_); }

Ref<NSMutableData> NSMutableData::data() { return make<NSMutableData>(); }

void NSMutableData::appendBytes_length(const void* bytes, NSUInteger length) {
  bytes_.append(static_cast<const char*>(bytes), length);
}

void NSMutableData::appendData(const Ref<NSData>& data) {
  if (data) bytes_.append(data->view());
}

void NSMutableData::setLength(NSUInteger length) { bytes_.resize(length); }

id NSMutableData::copy() const { return make<NSData>(bytes_); }

}  // namespace telvo
