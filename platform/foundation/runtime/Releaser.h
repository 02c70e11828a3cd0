#pragma once

inline namespace telvo {

namespace foundation {

// Has a std::unique_ptr give back what a C library made with that library's own function:
//
//   std::unique_ptr<GUri, foundation::Releaser<g_uri_unref>> uri(g_uri_parse(...));
template <auto release>
struct Releaser {
  template <class Object>
  void operator()(Object* object) const {
    release(object);
  }
};

}  // namespace foundation

}  // namespace telvo
