#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

// The user's own folders stay out of the tests. GLib reads the variables once, so they have to be right from the start.
int main(int argc, char** argv) {
  std::string folder = std::filesystem::temp_directory_path() / "telvo-owner-XXXXXX";
  if (!mkdtemp(folder.data())) return 1;
  setenv("HOME", folder.c_str(), 1);
  setenv("XDG_CACHE_HOME", (folder + "/cache").c_str(), 1);
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  std::filesystem::remove_all(folder);
  return result;
}
