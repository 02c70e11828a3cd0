#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSCoder;

// A colour: red, green, blue and opacity, each 0 to 1; values beyond are brought to the nearer limit, and what is not a
// number counts as 0. Immutable, any thread.
class NSColor : public NSObject {
  NS_OBJECT(NSColor, NSObject)

 public:
  NSColor(double red, double green, double blue, double alpha);

  static Ref<NSColor> colorWithRed_green_blue_alpha(double red, double green, double blue, double alpha);
  static Ref<NSColor> colorWithWhite_alpha(double white, double alpha);
  static Ref<NSColor> blackColor();
  static Ref<NSColor> whiteColor();
  static Ref<NSColor> redColor();
  static Ref<NSColor> greenColor();
  static Ref<NSColor> blueColor();

  double redComponent() const { return red_; }
  double greenComponent() const { return green_; }
  double blueComponent() const { return blue_; }
  double alphaComponent() const { return alpha_; }

  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

  void encodeWithCoder(NSCoder& coder) const;
  // Reads RGB, grey and CMYK colours, and named ones as what they stood for; patterned ones give nil.
  static id initWithCoder(NSCoder& coder);

 private:
  double red_;
  double green_;
  double blue_;
  double alpha_;
};

TELVO_NAMESPACE_END
