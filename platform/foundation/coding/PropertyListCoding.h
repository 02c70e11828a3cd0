#pragma once

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/collections/NSDictionary.h"
#include "foundation/events/Checkpoint.h"
#include "foundation/runtime/NSObject.h"

inline namespace telvo {

// What the readers and writers of the property-list formats share.
namespace foundation {

// Thrown by readers for bytes that are no property list, and by writers for objects that are none; by both when the
// work was given up.
class PropertyListFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Thrown by the XML writer for a dictionary with keys that differ only in what XML cannot hold.
class PropertyListKeysTooSimilar : public PropertyListFailure {
 public:
  PropertyListKeysTooSimilar() : PropertyListFailure("two keys would become the same text") {}
};

// Containers nested deeper are refused on both sides, so that no use of a property list can exhaust the stack.
inline constexpr std::size_t propertyListMaximumDepth = 512;

// Raises PropertyListFailure when a container at that depth (the root has 0) is one too deep.
void requirePropertyListDepth(std::size_t depth);

// Raises PropertyListFailure when the checkpoint, which may be null, gives the work up.
void passCheckpoint(const Checkpoint& checkpoint);

// Makes a reader's objects as mutable as its caller asked for, and passes the caller's checkpoint at each container.
class PropertyListFactory {
 public:
  explicit PropertyListFactory(NSUInteger options, Checkpoint checkpoint = nullptr)
      : options_(options), checkpoint_(std::move(checkpoint)) {}

  // The longest that the list's description may become, in characters.
  void setLongestDescription(std::uint64_t length) { descriptionLeft_ = length; }
  // To be called for each object wherever it stands, with the length of its text. Raises PropertyListFailure when the
  // list would be described by more than may be.
  void countForDescription(std::size_t depth, std::uint64_t textLength) const;

  id array(std::vector<id> objects) const;
  id dictionary(std::vector<NSDictionary::Entry> entries) const;
  id string(std::u16string units) const;
  id data(std::string bytes) const;
  // Whether equal texts and data may be one object.
  bool sharesLeaves() const;

 private:
  NSUInteger options_;
  Checkpoint checkpoint_;
  mutable std::uint64_t descriptionLeft_ = std::numeric_limits<std::uint64_t>::max();
};

// A dictionary's entries in the order of their keys. Raises PropertyListFailure for keys that are no texts.
std::vector<const NSDictionary::Entry*> entriesInKeyOrder(const NSDictionary& dictionary);

std::string XMLFromPropertyList(const id& propertyList, const Checkpoint& checkpoint = nullptr);
// The same of an array in pieces: what comes before its elements, each of them, and what comes behind, when it has any.
std::string XMLArrayBeginning();
std::string XMLArrayElement(const id& element);
std::string_view XMLArrayEnd();
id propertyListFromXML(std::string_view xml, const PropertyListFactory& factory);

std::string binaryFromPropertyList(const id& propertyList);
id propertyListFromBinary(std::string_view bytes, const PropertyListFactory& factory);

}  // namespace foundation

}  // namespace telvo
