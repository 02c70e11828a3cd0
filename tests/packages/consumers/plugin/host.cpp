// Opens the plugin and asks it as names.cpp asks itself.

#include <iostream>
#include <string>

#include <dlfcn.h>

int main(int argc, char* argv[]) {
  void* plugin = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
  if (!plugin) {
    std::cerr << "host: " << dlerror() << '\n';
    return 2;
  }
  const auto answers = reinterpret_cast<int (*)(const char*, const char*)>(dlsym(plugin, "answers"));
  std::string name;
  std::string selector;
  int asked = 0;
  int missing = 0;
  for (; std::cin >> name >> selector; ++asked) {
    if (answers(name.c_str(), selector.c_str()) == 1) continue;
    std::cout << name << ' ' << selector << '\n';
    ++missing;
  }
  std::cout << asked << " asked, " << missing << " not answered\n";
  return missing == 0 ? 0 : 1;
}
