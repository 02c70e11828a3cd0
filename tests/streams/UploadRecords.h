#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "foundation/Foundation.h"
#include "streams/TelvoFTPData.h"

// Records of a plan.
namespace records {

namespace fs = std::filesystem;

inline std::string utf8(const id& object) { return object ? object->description()->UTF8String() : "(nil)"; }

inline Ref<NSMutableDictionary> fileRecord(const Ref<NSString>& path, const Ref<NSString>& directory, double date) {
  return NSMutableDictionary::dictionary({{"LocalPath"_ns, path},
                                          {"RemoteDirectory"_ns, directory},
                                          {"IsDirectory"_ns, NSNumber::numberWithBool(false)},
                                          {"ModificationDate"_ns, NSDate::dateWithTimeIntervalSince1970(date)}});
}

inline Ref<NSMutableDictionary> folderRecord(const Ref<NSString>& path, const Ref<NSString>& directory) {
  return NSMutableDictionary::dictionary(
      {{"LocalPath"_ns, path}, {"RemoteDirectory"_ns, directory}, {"IsDirectory"_ns, NSNumber::numberWithBool(true)}});
}

// Without a host a job stops before its first item, after the cache file has been written.
inline Ref<TelvoFTPData> planned(const Ref<NSString>& source, const Ref<NSString>& cachePath) {
  const auto job = TelvoFTPData::ftpData();
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(source, ""_ns, "/"_ns, nil, nil,
                                                                              cachePath, false);
  return job;
}

inline void run(const Ref<TelvoFTPData>& job, const Ref<NSString>& source, const Ref<NSString>& host,
                const Ref<NSString>& cachePath = nil) {
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(source, host, "/"_ns, nil, nil, cachePath,
                                                                              true);
}

inline std::vector<std::string> values(const Ref<NSArray>& records, const Ref<NSString>& key) {
  std::vector<std::string> result;
  for (const id& record : *records) result.push_back(utf8(as<NSDictionary>(record)->objectForKey(key)));
  return result;
}

inline void setDate(const std::string& path, time_t seconds, long nanoseconds = 0) {
  const timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

inline Ref<TelvoFTPData> scanned(const Ref<NSString>& path, const Ref<NSString>& directory = "/"_ns) {
  const auto job = TelvoFTPData::ftpData();
  job->setUploadInfo(NSMutableArray::array());
  job->recursivelyScanLocalPath_forRemoteDirectory(path, directory);
  return job;
}

}  // namespace records
