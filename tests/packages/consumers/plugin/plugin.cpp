// The archives inside a shared object: every class and selector in it, and none of it needed at run time.

#include <cstdio>

#include <telvo/foundation/text/NSString.h>

extern "C" int answers(const char* name, const char* selector);

extern "C" int answers(const char* name, const char* selector) {
  const Class answering = NSClassFromString(name);
  return answering && answering->methodForSelector(SEL::named(selector)) ? 1 : 0;
}
