// The two libraries in one program, the owner's first, which opens the namespace that the other makes inline.

#include <telvo/owner/Owner.h>
// Of its own, so as not to be put in order: the other order is the easy one.
#include <iostream>

#include <telvo/Telvo.h>

int main() {
  telvo::Upload upload;
  upload.source = telvo_left("/home/anna/Site"_ns, 10)->UTF8String();
  std::cout << upload.source << '\n';
}
