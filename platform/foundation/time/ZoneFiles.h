#pragma once

#include <string>

inline namespace telvo {

// The folder in which the system keeps a file for each zone. Any thread.
namespace foundation {

std::string zoneFolder();

// The folder holds lists and folders as well.
bool isZoneFile(const std::string& path);

// The name of the zone ("Europe/Berlin") whose file holds the same as that one, which is a copy of it: containers are
// given one in place of a link. Of several the one that the list of places names. Empty when there is none. Reads the
// folder, which takes milliseconds.
std::string nameOfZoneWithCopy(const std::string& path);

}  // namespace foundation

}  // namespace telvo
