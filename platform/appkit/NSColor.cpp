#include "appkit/NSColor.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "foundation/coding/NSCoder.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

const NSRegisteredClass registration(NSColor::classObject());

// The kinds of colour in an archive.
enum ColorSpace : NSInteger {
  CalibratedRGB = 1,
  DeviceRGB = 2,
  CalibratedWhite = 3,
  DeviceWhite = 4,
  CMYK = 5,
  Named = 6
};

double limited(double component) { return std::isnan(component) ? 0.0 : std::clamp(component, 0.0, 1.0); }

// Numbers separated by spaces, a NUL byte at the end or not: the archive's form of components.
std::vector<double> componentsFrom(std::string_view text) {
  constexpr std::size_t mostComponents = 5;
  std::vector<double> components;
  while (components.size() < mostComponents) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc()) break;
    components.push_back(value);
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  }
  return components;
}

std::vector<double> decodeComponents(NSCoder& coder, const Ref<NSString>& key) {
  const auto data = as<NSData>(coder.decodePropertyListForKey(key));
  return data ? componentsFrom(data->view()) : std::vector<double>();
}

double at(const std::vector<double>& components, std::size_t index, double missing) {
  return index < components.size() ? components[index] : missing;
}

}  // namespace

Class NSColor::classObject() {
  static const NSClass object("NSColor", NSObject::classObject(),
                              {
                                  method("redComponent"_sel, &NSColor::redComponent),
                                  method("greenComponent"_sel, &NSColor::greenComponent),
                                  method("blueComponent"_sel, &NSColor::blueComponent),
                                  method("alphaComponent"_sel, &NSColor::alphaComponent),
                              },
                              NSCoding::secure<NSColor>());
  return &object;
}

NSColor::NSColor(double red, double green, double blue, double alpha)
    : red_(limited(red)), green_(limited(green)), blue_(limited(blue)), alpha_(limited(alpha)) {}

Ref<NSColor> NSColor::colorWithRed_green_blue_alpha(double red, double green, double blue, double alpha) {
  return make<NSColor>(red, green, blue, alpha);
}

Ref<NSColor> NSColor::colorWithWhite_alpha(double white, double alpha) {
  return make<NSColor>(white, white, white, alpha);
}

Ref<NSColor> NSColor::blackColor() { return make<NSColor>(0.0, 0.0, 0.0, 1.0); }
Ref<NSColor> NSColor::whiteColor() { return make<NSColor>(1.0, 1.0, 1.0, 1.0); }
Ref<NSColor> NSColor::redColor() { return make<NSColor>(1.0, 0.0, 0.0, 1.0); }
Ref<NSColor> NSColor::greenColor() { return make<NSColor>(0.0, 1.0, 0.0, 1.0); }
Ref<NSColor> NSColor::blueColor() { return make<NSColor>(0.0, 0.0, 1.0, 1.0); }

Ref<NSString> NSColor::description() const {
  return NSString::stringWithFormat("RGB %@ %@ %@ %@"_ns, NSNumber::numberWithDouble(red_),
                                    NSNumber::numberWithDouble(green_), NSNumber::numberWithDouble(blue_),
                                    NSNumber::numberWithDouble(alpha_));
}

bool NSColor::isEqual(const id& other) const {
  const auto color = as<NSColor>(other);
  return color && red_ == color->red_ && green_ == color->green_ && blue_ == color->blue_ && alpha_ == color->alpha_;
}

NSUInteger NSColor::hash() const {
  const std::hash<double> hash;
  return ((hash(red_) * 31 + hash(green_)) * 31 + hash(blue_)) * 31 + hash(alpha_);
}

void NSColor::encodeWithCoder(NSCoder& coder) const {
  std::string components;
  for (const double component : {red_, green_, blue_, alpha_}) {
    components += NSNumber::numberWithDouble(component)->stringValue()->UTF8String() + ' ';
  }
  // Opaque colours go without their opacity, and a NUL byte takes the place of the last space.
  if (alpha_ == 1.0) components.resize(components.size() - 2);
  components.back() = '\0';
  coder.encodeInteger_forKey(CalibratedRGB, "NSColorSpace"_ns);
  coder.encodePropertyList_forKey(NSData::dataWithBytes(components), "NSRGB"_ns);
}

id NSColor::initWithCoder(NSCoder& coder) {
  switch (coder.decodeIntegerForKey("NSColorSpace"_ns)) {
    case CalibratedRGB:
    case DeviceRGB: {
      const auto rgb = decodeComponents(coder, "NSRGB"_ns);
      if (rgb.size() < 3) return nil;
      return colorWithRed_green_blue_alpha(rgb[0], rgb[1], rgb[2], at(rgb, 3, 1.0));
    }
    case CalibratedWhite:
    case DeviceWhite: {
      const auto white = decodeComponents(coder, "NSWhite"_ns);
      if (white.empty()) return nil;
      return colorWithWhite_alpha(white[0], at(white, 1, 1.0));
    }
    case CMYK: {
      const auto cmyk = decodeComponents(coder, "NSCMYK"_ns);
      if (cmyk.size() < 4) return nil;
      const double light = 1.0 - limited(cmyk[3]);
      return colorWithRed_green_blue_alpha((1.0 - limited(cmyk[0])) * light, (1.0 - limited(cmyk[1])) * light,
                                           (1.0 - limited(cmyk[2])) * light, at(cmyk, 4, 1.0));
    }
    case Named:
      // The name means something to its system only; the colour that it stood for there goes with it.
      return coder.decodeObjectOfClass_forKey<NSColor>("NSColor"_ns);
    default:
      return nil;
  }
}

}  // namespace telvo
