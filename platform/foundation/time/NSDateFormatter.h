#pragma once

#include <memory>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDate;
class NSLocale;
class NSString;
class NSTimeZone;

// How much of a date or of a time of day is written out. Other values count as NSDateFormatterNoStyle.
enum NSDateFormatterStyle : NSInteger {
  NSDateFormatterNoStyle = 0,
  NSDateFormatterShortStyle = 1,
  NSDateFormatterMediumStyle = 2,
  NSDateFormatterLongStyle = 3,
  NSDateFormatterFullStyle = 4,
};

// Turns dates into text and back, by a pattern (Unicode Technical Standard 35) or by a date style and a time style. A
// pattern comes before the styles. A new formatter has neither: it writes empty text and reads nothing. Formatting and
// parsing are safe on any thread; settings are to be made before.
class NSDateFormatter : public NSObject {
  NS_OBJECT(NSDateFormatter, NSObject)

 public:
  NSDateFormatter();
  ~NSDateFormatter() override;

  // Nil, the initial value, stands for the current locale and the default time zone of the moment of use.
  const Ref<NSLocale>& locale() const { return locale_; }
  void setLocale(const Ref<NSLocale>& locale);
  const Ref<NSTimeZone>& timeZone() const { return timeZone_; }
  void setTimeZone(const Ref<NSTimeZone>& timeZone);

  const Ref<NSString>& dateFormat() const { return dateFormat_; }
  void setDateFormat(const Ref<NSString>& format);
  NSDateFormatterStyle dateStyle() const { return dateStyle_; }
  void setDateStyle(NSDateFormatterStyle style);
  NSDateFormatterStyle timeStyle() const { return timeStyle_; }
  void setTimeStyle(NSDateFormatterStyle style);

  // With a date style: writes days near today as "today", "yesterday" and whatever else the language has a word for, in
  // the letter case of running text. Initially off.
  bool doesRelativeDateFormatting() const { return doesRelativeDateFormatting_; }
  void setDoesRelativeDateFormatting(bool relative);

  // Nil for nil, for an invalid pattern and for a date that no calendar reaches (see NSCalendar).
  Ref<NSString> stringFromDate(const Ref<NSDate>& date) const;

  // The text has to be a date in that form, from its beginning to its end: nil for the 30th of February, for a month
  // 13, for "3" where the pattern asks for two digits, for further text behind the date, for a number of more than
  // nine digits. Only white space before a number is passed over. What the text leaves open is taken from 1 January
  // 2000, 00:00. A time of day that the clocks skip or repeat is read as NSCalendar says, so that a mere day can always
  // be read.
  Ref<NSDate> dateFromString(const Ref<NSString>& text) const;

 private:
  struct Engine;
  // The engine for the present settings and surroundings, null when there is none. To be called with its mutex held.
  Engine* preparedEngine() const;
  void settingsChanged();

  Ref<NSLocale> locale_;
  Ref<NSTimeZone> timeZone_;
  Ref<NSString> dateFormat_;
  NSDateFormatterStyle dateStyle_ = NSDateFormatterNoStyle;
  NSDateFormatterStyle timeStyle_ = NSDateFormatterNoStyle;
  bool doesRelativeDateFormatting_ = false;
  std::unique_ptr<Engine> engine_;
};

TELVO_NAMESPACE_END
