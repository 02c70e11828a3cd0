#pragma once

#include <string>
#include <vector>

#include "telvo/owner/GLibObjects.h"
#include "telvo/owner/Upload.h"

// The helper's language: its launch parameters and its messages on the bus.
namespace telvo {

namespace wire {
constexpr const char* objectPath = "/com/telvo/DistributedNotificationCenter";
constexpr const char* interfaceName = "com.telvo.DistributedNotificationCenter";
constexpr const char* signalName = "Posted";
constexpr const char* progress = "TelvoFTPHelperProgressDistributedNotification";
constexpr const char* bytes = "TelvoFTPHelperBytesDistributedNotification";
constexpr const char* ready = "TelvoFTPHelperReadyDistributedNotification";
constexpr const char* stop = "TelvoFTPHelperStopDistributedNotification";
}  // namespace wire

// The helper's command line without its first word, for the owner of that name and that token.
std::vector<std::string> launchArguments(const Upload& upload, const std::string& ownerName, const std::string& token);

// What a message holds. A key that is missing, or that has another type, leaves its member as it is.
Record readRecord(GVariant* info);
Bytes readBytes(GVariant* info);
std::string readVersion(GVariant* info);

}  // namespace telvo
