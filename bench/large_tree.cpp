// Measures the second run over a large tree of which nothing has changed: the scan, the filter and the rewriting of the
// cache file, beside "find -printf" over the same tree in the same run.
//
//   large_tree [FILES]...                        (none given: 200000 1000000)
//
// It prints, for each number of files, the median wall time of both, their ratio, and the peak memory of the job.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "streams/TelvoFTPData.h"
#include "testing/TemporaryDirectory.h"

namespace {

constexpr int runs = 5;
constexpr int filesPerFolder = 1000;

struct Usage {
  double seconds = 0;
  double peakMegabytes = 0;
};

// The program with its output thrown away.
Usage measure(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    if (!std::freopen("/dev/null", "w", stdout)) _exit(127);
    execvp(arguments.front(), arguments.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
    throw std::runtime_error(command.front() + " failed");
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  return {wall.count(), static_cast<double>(usage.ru_maxrss) / 1024};
}

Usage median(const std::vector<std::string>& command) {
  std::vector<Usage> usages;
  for (int run = 0; run < runs; ++run) usages.push_back(measure(command));
  std::ranges::sort(usages, {}, &Usage::seconds);
  return usages[runs / 2];
}

void makeTree(const std::filesystem::path& root, int files) {
  for (int file = 0; file < files; ++file) {
    const auto folder = root / ("folder " + std::to_string(file / filesPerFolder));
    if (file % filesPerFolder == 0) std::filesystem::create_directories(folder);
    std::ofstream(folder / ("page-" + std::to_string(file) + ".html"));
  }
}

// One job as the helper runs it. Without a host it stops before its first item, so what there is to send is not sent.
int runJob(const char* source, const char* cache) {
  const auto job = TelvoFTPData::ftpData();
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
      NSString::stringWithUTF8String(source), nil, "/"_ns, nil, nil, NSString::stringWithUTF8String(cache), false);
  std::printf("%lu\n", static_cast<unsigned long>(job->count()));
  std::fflush(stdout);
  _exit(0);
}

void compare(const std::string& program, int files) {
  const TemporaryDirectory folder;
  makeTree(folder / "site", files);
  const std::vector<std::string> job{program, "--job", folder / "site", folder / "cache.plist"};
  const Usage first = measure(job);
  const Usage find = median({"find", folder / "site", "-printf", "%p %T@\\n"});
  const Usage second = median(job);
  std::printf("%8d files: find %.2f s, first run %.2f s, unchanged %.2f s = %.1f times find, %.0f MB\n", files,
              find.seconds, first.seconds, second.seconds, second.seconds / find.seconds, second.peakMegabytes);
  std::fflush(stdout);  // or every child would write it again
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--job") return runJob(argv[2], argv[3]);
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
  if (sizes.empty()) sizes = {200'000, 1'000'000};
  try {
    for (const int files : sizes) compare(std::filesystem::read_symlink("/proc/self/exe"), files);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "large_tree: %s\n", failure.what());
    return 1;
  }
  return 0;
}
