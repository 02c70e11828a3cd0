// A program whose other headers have taken the names already: a window system's macros, another reference type, and
// another language's objects.

#define Always 2
#define Bool int
#define Complex 0
#define False 0
#define None 0L
#define Status int
#define Success 0
#define True 1
#define Unsorted 0

template <class T>
struct Ref {
  T value;
};
struct id {
  int number;
};
class NSObject;
struct NSString {};
struct NSRange {
  int first, last;
};
typedef long NSInteger;
typedef unsigned int NSUInteger;
static const int nil = 5;
enum class SEL { none };
typedef struct OtherClass* Class;

#define TELVO_NO_GLOBAL_NAMES
#include <iostream>
#include <unordered_set>

#include <telvo/Platform.h>
#include <telvo/Telvo.h>

namespace program {

// A class of the program's own, with a method that is called by name.
class Greeting : public telvo::NSObject {
  NS_OBJECT(Greeting, telvo::NSObject)

 public:
  telvo::Ref<telvo::NSString> text() { return telvo::NSString::stringWithUTF8String("olleh"); }
};

telvo::Class Greeting::classObject() {
  using telvo::operator""_sel;
  static const telvo::NSClass greeting("Greeting", telvo::NSObject::classObject(),
                                       {telvo::method("text"_sel, &Greeting::text)});
  return &greeting;
}

}  // namespace program

int main() {
  using telvo::operator""_sel;
  const Ref<id> mine{{nil}};
  const NSRange range{1, 2};
  const telvo::id text = telvo::make<program::Greeting>()->performSelector("text"_sel);
  const std::unordered_set<telvo::id> distinct{text, text};
  std::cout << telvo_reverse(telvo::as<telvo::NSString>(text))->UTF8String() << ' ' << mine.value.number << ' '
            << range.last << ' ' << distinct.size() << '\n';
}
