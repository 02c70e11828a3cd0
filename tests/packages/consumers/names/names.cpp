// Reads lines of a class and a selector and prints those that no instance of the class would answer. Calls none of
// them.

#include <iostream>
#include <string>

#include <telvo/foundation/runtime/NSObject.h>

int main() {
  std::string name;
  std::string selector;
  int asked = 0;
  int missing = 0;
  for (; std::cin >> name >> selector; ++asked) {
    const Class answering = NSClassFromString(name);
    if (answering && answering->methodForSelector(SEL::named(selector))) continue;
    std::cout << name << ' ' << selector << '\n';
    ++missing;
  }
  std::cout << asked << " asked, " << missing << " not answered\n";
  return missing == 0 ? 0 : 1;
}
