#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "foundation/runtime/NSObject.h"
#include "foundation/runtime/NSRange.h"

TELVO_NAMESPACE_BEGIN

class NSError;
class NSString;
class NSURL;

enum NSDataBase64DecodingOptions : NSUInteger { NSDataBase64DecodingIgnoreUnknownCharacters = 1 };

// Bytes. Immutable, any thread.
class NSData : public NSObject {
  NS_OBJECT(NSData, NSObject)

 public:
  explicit NSData(std::string bytes = {}) : bytes_(std::move(bytes)) {}

  static Ref<NSData> data();
  static Ref<NSData> dataWithBytes_length(const void* bytes, NSUInteger length);
  static Ref<NSData> dataWithBytes(std::string bytes);
  // The whole of a regular file; nil when there is none or it cannot be read.
  static Ref<NSData> dataWithContentsOfFile(const Ref<NSString>& path);

  // The bytes of a Base64 text (RFC 4648, padded); nil when it is none, or nil.
  static Ref<NSData> dataWithBase64EncodedString_options(const Ref<NSString>& text, NSUInteger options);

  NSUInteger length() const { return bytes_.size(); }
  const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(bytes_.data()); }
  std::string_view view() const { return bytes_; }
  Ref<NSData> subdataWithRange(NSRange range) const;
  // As Base64, padded, in one line.
  Ref<NSString> base64EncodedString() const;

  // False when the file could not be written. Atomically: through a file beside it that takes its place, keeping its
  // permissions, when complete and on the disk; otherwise in place. A link stays a link.
  bool writeToFile_atomically(const Ref<NSString>& path, bool atomically) const;

  // "<68656c6c 6f>": hexadecimal digits in groups of four bytes.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }

 protected:
  std::string bytes_;
};

// Bytes that can be changed in place. One thread at a time.
class NSMutableData : public NSData {
  NS_OBJECT(NSMutableData, NSData)

 public:
  using NSData::NSData;

  static Ref<NSMutableData> data();

  void appendBytes_length(const void* bytes, NSUInteger length);
  void appendData(const Ref<NSData>& data);
  void setLength(NSUInteger length);
  std::uint8_t* mutableBytes() { return reinterpret_cast<std::uint8_t*>(bytes_.data()); }

  id copy() const override;
};

TELVO_NAMESPACE_END
