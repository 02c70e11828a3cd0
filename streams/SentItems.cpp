#include "streams/SentItems.h"

#include <algorithm>
#include <utility>

#include "foundation/Foundation.h"
#include "foundation/coding/PropertyListArrayFile.h"
#include "streams/UploadRecord.h"

inline namespace telvo {

namespace streams {

SentItems::SentItems() : file_(std::make_unique<foundation::PropertyListArrayFile>()) {}
SentItems::SentItems(SentItems&&) noexcept = default;
SentItems& SentItems::operator=(SentItems&&) noexcept = default;
SentItems::~SentItems() = default;

SentItems::SentItems(const Ref<NSArray>& content, const foundation::Checkpoint& checkpoint) : SentItems() {
  if (!content) return;
  for (const id& object : *content) {
    if (!checkpoint()) return;
    const auto record = as<NSDictionary>(object);
    if (!record) continue;
    const auto complete = recordFromFile(record);
    positions_.push_back({remotePathOf(*complete)->hash(), records_.size()});
    records_.push_back(complete);
  }
  std::sort(positions_.begin(), positions_.end(),
            [](const Position& left, const Position& right) { return left.hash < right.hash; });
  isPlanned_.resize(records_.size());
  isChanged_ = false;
}

bool SentItems::isAt(std::size_t index, const NSString& remotePath) const {
  const Ref<NSDictionary>& record = records_[index];
  return record && remotePath.isEqual(remotePathOf(*record));
}

// Among what was read; whatever this run has sent it sends once only.
std::size_t SentItems::find(const NSDictionary& record) const {
  if (positions_.empty()) return nothing;
  const auto place = remotePathOf(record);
  if (next_ < positions_.size() && isAt(next_, *place)) return next_++;
  const auto lower = std::lower_bound(positions_.begin(), positions_.end(), place->hash(),
                                      [](const Position& each, NSUInteger hash) { return each.hash < hash; });
  for (auto each = lower; each != positions_.end() && each->hash == place->hash(); ++each) {
    if (!isAt(each->index, *place)) continue;
    next_ = each->index + 1;
    return each->index;
  }
  return nothing;
}

Ref<NSMutableArray> SentItems::missingOf(const NSArray& plan, const foundation::Checkpoint& checkpoint,
                                         const Doubt& isInDoubt) {
  const auto missing = NSMutableArray::array();
  for (const id& object : plan) {
    if (!checkpoint()) break;
    const auto record = as<NSDictionary>(object);
    const std::size_t index = find(*record);
    const bool isKnown = index != nothing && isDirectory(*records_[index]) == isDirectory(*record);
    if (isKnown) isPlanned_[index] = true;
    const bool isCertain = !isInDoubt || !isInDoubt(*record);
    if (isKnown && isCertain && isSameState(*records_[index], *record)) {
      records_[index] = record;  // one of two equal ones is enough
    } else {
      missing->addObject(record);
    }
  }
  return missing;
}

std::vector<Ref<NSDictionary>> SentItems::leftOvers() const {
  std::vector<Ref<NSDictionary>> leftOvers;
  for (std::size_t index = 0; index < isPlanned_.size(); ++index) {
    if (!isPlanned_[index] && records_[index]) leftOvers.push_back(records_[index]);
  }
  return leftOvers;
}

void SentItems::set(std::size_t index, const Ref<NSDictionary>& record) {
  records_[index] = record;
  file_->noteChange(index);
  isChanged_ = true;
}

void SentItems::willReplace(const NSDictionary& record) {
  const std::size_t index = find(record);
  if (index != nothing && !isDirectory(*records_[index])) set(index, withoutDate(records_[index]));
}

void SentItems::didSend(const Ref<NSDictionary>& record) {
  if (const std::size_t index = find(*record); index != nothing) return set(index, record);
  records_.push_back(record);
  isChanged_ = true;
}

void SentItems::didRemove(const NSDictionary& record) {
  if (const std::size_t index = find(record); index != nothing) set(index, nil);
}

void SentItems::saveIfDue() {
  constexpr int shareOfTime = 20;
  const auto begin = std::chrono::steady_clock::now();
  if (begin < dueTime_) return;
  save();
  const auto end = std::chrono::steady_clock::now();
  dueTime_ = end + shareOfTime * (end - begin);
}

void SentItems::save() {
  if (!isChanged_ || !path_) return;
  const auto element = [this](std::size_t index) -> id {
    const Ref<NSDictionary>& record = records_[index];
    return record ? id(recordForFile(record)) : id();
  };
  isChanged_ = !file_->save(path_, records_.size(), element);
}

}  // namespace streams

}  // namespace telvo
