#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

using GTimeZone = struct _GTimeZone;

inline namespace telvo {

namespace foundation {

// How far a zone's clocks are ahead of GMT, in seconds: standard time, and what daylight saving adds to it.
struct ZoneOffsets {
  std::int64_t standard = 0;
  std::int64_t daylightSaving = 0;
  std::int64_t total() const { return standard + daylightSaving; }
};

// The folder of the zone files holds every zone three times: as it is, below "posix/", and below "right/" with leap
// seconds. The name without that.
std::string_view plainZoneName(std::string_view name);

// One zone's rules, from the zone files of the system, which are as new as the machine's clock. Immutable, any thread.
class ZoneRules {
 public:
  // The zone of that name ("Europe/Berlin"), with a prefix "posix/" or "right/" or without, or that keeps to that rule
  // ("CET-1CEST,M3.5.0,M10.5.0/3"); null when the system has none. The zone files that count leap seconds ("right/")
  // are not used, since the system's clock does not count any. Zone files are read once in the life of the process.
  static std::shared_ptr<const ZoneRules> ofZone(const std::string& name);

  // Takes over the reference. The later rules, if any, hold from 2038 on.
  explicit ZoneRules(GTimeZone* zone, std::shared_ptr<const ZoneRules> laterRules = nullptr);
  ~ZoneRules();
  ZoneRules(const ZoneRules&) = delete;
  ZoneRules& operator=(const ZoneRules&) = delete;

  ZoneOffsets offsetsAt(double secondsSince1970) const;
  // At what the zone's clocks show, in seconds since they showed 1 January 1970, 00:00. A time that they show twice
  // counts as the later one; for one that they skip, the offsets before the gap are given.
  ZoneOffsets offsetsAtLocalTime(double seconds) const;

 private:
  // The zone files divide time into intervals of one offset each, which are numbered from 0 on.
  int intervalAt(std::int64_t seconds) const;
  std::int64_t offset(int interval) const;
  bool isDaylightSaving(int interval) const;
  ZoneOffsets offsets(int interval) const;
  ZoneOffsets offsetsOfDaylightSaving(int interval) const;

  GTimeZone* zone_;
  std::shared_ptr<const ZoneRules> laterRules_;
};

}  // namespace foundation

}  // namespace telvo
