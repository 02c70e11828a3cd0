#include "foundation/notifications/BusValue.h"

#include <optional>
#include <utility>
#include <vector>

#include <gio/gio.h>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"
#include "foundation/text/UTF16.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace foundation {
namespace {

// The bus takes 64 containers inside one another and ends the connection of who sends more; a dictionary in a
// dictionary costs three, and the message around them a few.
constexpr int deepestNesting = 16;

constexpr char16_t replacementCharacter = 0xFFFD;

struct TooDeep {};

GVariant* variantFrom(const id& value, int depth);

GVariant* variantFromArray(const NSArray& array, int depth) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("av"));
  try {
    for (const id& element : array) {
      if (GVariant* const converted = variantFrom(element, depth)) g_variant_builder_add(&builder, "v", converted);
    }
  } catch (const TooDeep&) {
    g_variant_builder_clear(&builder);
    throw;
  }
  return g_variant_builder_end(&builder);
}

GVariant* variantFromEntries(const NSDictionary& dictionary, int depth) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
  try {
    for (const auto& [key, value] : dictionary) {
      const auto name = as<NSString>(key);
      GVariant* const converted = name ? variantFrom(value, depth) : nullptr;
      if (converted) g_variant_builder_add(&builder, "{sv}", UTF8ForBus(name).c_str(), converted);
    }
  } catch (const TooDeep&) {
    g_variant_builder_clear(&builder);
    throw;
  }
  return g_variant_builder_end(&builder);
}

GVariant* variantFromNumber(const NSNumber& number) {
  if (number.isBool()) return g_variant_new_boolean(number.boolValue());
  if (number.isReal()) return g_variant_new_double(number.doubleValue());
  if (std::holds_alternative<NSUInteger>(number.value())) return g_variant_new_uint64(number.unsignedIntegerValue());
  return g_variant_new_int64(number.integerValue());
}

// Null for a value that is no property list.
GVariant* variantFrom(const id& value, int depth) {
  if (const auto text = as<NSString>(value)) return g_variant_new_string(UTF8ForBus(text).c_str());
  if (const auto number = as<NSNumber>(value)) return variantFromNumber(*number);
  if (const auto date = as<NSDate>(value)) return g_variant_new("(d)", date->timeIntervalSince1970());
  if (const auto data = as<NSData>(value)) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data->bytes(), data->length(), 1);
  }
  if (depth >= deepestNesting) throw TooDeep();
  if (const auto array = as<NSArray>(value)) return variantFromArray(*array, depth + 1);
  if (const auto dictionary = as<NSDictionary>(value)) return variantFromEntries(*dictionary, depth + 1);
  return nullptr;
}

std::optional<NSInteger> signedInteger(GVariant* variant) {
  switch (g_variant_classify(variant)) {
    case G_VARIANT_CLASS_INT16:
      return g_variant_get_int16(variant);
    case G_VARIANT_CLASS_INT32:
      return g_variant_get_int32(variant);
    case G_VARIANT_CLASS_INT64:
      return g_variant_get_int64(variant);
    default:
      return std::nullopt;
  }
}

std::optional<NSUInteger> unsignedInteger(GVariant* variant) {
  switch (g_variant_classify(variant)) {
    case G_VARIANT_CLASS_BYTE:
      return g_variant_get_byte(variant);
    case G_VARIANT_CLASS_UINT16:
      return g_variant_get_uint16(variant);
    case G_VARIANT_CLASS_UINT32:
      return g_variant_get_uint32(variant);
    case G_VARIANT_CLASS_UINT64:
      return g_variant_get_uint64(variant);
    default:
      return std::nullopt;
  }
}

Ref<NSString> textFrom(GVariant* variant) {
  gsize length = 0;
  const char* const text = g_variant_get_string(variant, &length);
  return NSString::stringWithUTF8String(std::string_view(text, length));
}

// What an "av" or the "v" of an entry holds, unpacked. The bus bounds how deeply containers may be nested.
id objectFromVariant(GVariant* variant) {
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_STRING)) return textFrom(variant);
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BOOLEAN)) {
    return NSNumber::numberWithBool(g_variant_get_boolean(variant));
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_DOUBLE)) {
    return NSNumber::numberWithDouble(g_variant_get_double(variant));
  }
  if (const auto integer = signedInteger(variant)) return NSNumber::numberWithInteger(*integer);
  if (const auto integer = unsignedInteger(variant)) return NSNumber::numberWithUnsignedInteger(*integer);
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE("(d)"))) {
    double seconds = 0;
    g_variant_get(variant, "(d)", &seconds);
    return NSDate::dateWithTimeIntervalSince1970(seconds);
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BYTESTRING)) {
    gsize length = 0;
    const void* const bytes = g_variant_get_fixed_array(variant, &length, 1);
    return NSData::dataWithBytes_length(bytes, length);
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_VARDICT)) return dictionaryFromVariant(variant);
  if (!g_variant_is_of_type(variant, G_VARIANT_TYPE("av"))) return nil;
  std::vector<id> elements;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, variant);
  GVariant* element = nullptr;
  while (g_variant_iter_loop(&iterator, "v", &element)) {
    if (const id object = objectFromVariant(element)) elements.push_back(object);
  }
  return NSArray::arrayWithVector(std::move(elements));
}

}  // namespace

Ref<NSString> textForBus(const Ref<NSString>& text) {
  if (!text) return nil;
  std::u16string units(text->units());
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (isSurrogatePairAt(units, i)) {
      ++i;
    } else if (isSurrogate(units[i]) || units[i] == 0) {
      units[i] = replacementCharacter;
    }
  }
  return NSString::stringWithUnits(std::move(units));
}

std::string UTF8ForBus(const Ref<NSString>& text) { return text ? textForBus(text)->UTF8String() : std::string(); }

GVariant* variantFromDictionary(const Ref<NSDictionary>& dictionary) {
  try {
    return variantFromEntries(*dictionary, 0);
  } catch (const TooDeep&) {
    return nullptr;
  }
}

Ref<NSDictionary> dictionaryFromVariant(GVariant* variant) {
  const auto dictionary = NSMutableDictionary::dictionary();
  GVariantIter iterator;
  g_variant_iter_init(&iterator, variant);
  const char* key = nullptr;
  GVariant* value = nullptr;
  while (g_variant_iter_loop(&iterator, "{&sv}", &key, &value)) {
    if (const id object = objectFromVariant(value)) {
      dictionary->setObject_forKey(object, NSString::stringWithUTF8String(key));
    }
  }
  return as<NSDictionary>(dictionary->copy());
}

}  // namespace foundation

}  // namespace telvo
