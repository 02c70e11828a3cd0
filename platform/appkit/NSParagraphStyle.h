#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSCoder;

enum NSTextAlignment : NSInteger {
  NSTextAlignmentLeft = 0,
  NSTextAlignmentRight = 1,
  NSTextAlignmentCenter = 2,
  NSTextAlignmentJustified = 3,
  NSTextAlignmentNatural = 4,  // by the writing direction of the text
};

// How a paragraph is set. Immutable, any thread.
class NSParagraphStyle : public NSObject {
  NS_OBJECT(NSParagraphStyle, NSObject)

 public:
  explicit NSParagraphStyle(NSTextAlignment alignment = NSTextAlignmentNatural) : alignment_(alignment) {}

  static Ref<NSParagraphStyle> defaultParagraphStyle();  // natural alignment

  NSTextAlignment alignment() const { return alignment_; }

  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }

  void encodeWithCoder(NSCoder& coder) const;
  static id initWithCoder(NSCoder& coder);

 protected:
  NSTextAlignment alignment_;
};

// One that can be changed. One thread at a time.
class NSMutableParagraphStyle : public NSParagraphStyle {
  NS_OBJECT(NSMutableParagraphStyle, NSParagraphStyle)

 public:
  using NSParagraphStyle::NSParagraphStyle;

  void setAlignment(NSTextAlignment alignment) { alignment_ = alignment; }

  id copy() const override;

  static id initWithCoder(NSCoder& coder);
};

TELVO_NAMESPACE_END
