// Values by key path: through collections, into the settings, and by the operators that begin with "@".

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/errors/NSException.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

Ref<NSDictionary> item(const Ref<NSString>& name, NSInteger size) {
  return NSDictionary::dictionary({{"name"_ns, name}, {"size"_ns, number(size)}});
}

Ref<NSArray> items() { return NSArray::arrayWithObjects({item("b"_ns, 2), item("a"_ns, 3), item("b"_ns, 7)}); }

void expectValue(const id& object, const Ref<NSString>& path, const id& expected) {
  const id value = object->valueForKeyPath(path);
  EXPECT_TRUE(NSEqualObjects(value, expected))
      << path->UTF8String() << ": " << (value ? value->description()->UTF8String() : "nil");
}

TEST(KeyPath, LeadsThroughSets) {
  const auto set = NSSet::setWithArray(items());
  expectValue(set, "name"_ns, NSSet::setWithObjects({"a"_ns, "b"_ns}));
  expectValue(NSDictionary::dictionaryWithObject_forKey(set, "items"_ns), "items.size"_ns,
              NSSet::setWithObjects({number(2), number(3), number(7)}));
  // A member without a value adds none.
  expectValue(NSSet::setWithObjects({item("a"_ns, 1), NSDictionary::dictionary()}), "name"_ns,
              NSSet::setWithObject("a"_ns));
}

TEST(KeyPath, LeadsIntoTheUserDefaults) {
  const TemporaryDirectory folder;
  const EnvironmentVariable home("XDG_CONFIG_HOME", folder.path().c_str());
  const auto defaults = make<NSUserDefaults>("com.example.paths"_ns);
  defaults->registerDefaults(NSDictionary::dictionaryWithObject_forKey(item("a"_ns, 5), "item"_ns));
  expectValue(defaults, "item.size"_ns, number(5));
  expectValue(defaults, "missing"_ns, nil);
  defaults->setValue_forKey("text"_ns, "set"_ns);
  EXPECT_TRUE(NSEqualObjects(defaults->objectForKey("set"_ns), "text"_ns));
  defaults->setValue_forKey(nil, "set"_ns);
  EXPECT_EQ(defaults->objectForKey("set"_ns), nil);
}

TEST(KeyPath, CountsCollections) {
  expectValue(items(), "@count"_ns, number(3));
  expectValue(NSSet::setWithArray(items()), "@count"_ns, number(3));
  expectValue(NSDictionary::dictionaryWithObject_forKey(items(), "items"_ns), "items.@count"_ns, number(3));
  expectValue(NSDictionary::dictionaryWithObject_forKey(items(), "items"_ns), "@count"_ns, number(1));
  expectValue(NSArray::array(), "@count"_ns, number(0));
}

TEST(KeyPath, ComputesOverCollections) {
  expectValue(items(), "@sum.size"_ns, number(12));
  expectValue(items(), "@avg.size"_ns, number(4));
  expectValue(items(), "@min.size"_ns, number(2));
  expectValue(items(), "@max.size"_ns, number(7));
  expectValue(items(), "@max.name"_ns, "b"_ns);
  expectValue(NSArray::arrayWithObjects({number(1), NSNumber::numberWithDouble(1.5)}), "@sum.self"_ns,
              NSNumber::numberWithDouble(2.5));
  expectValue(NSDictionary::dictionaryWithObject_forKey(NSSet::setWithArray(items()), "items"_ns), "items.@sum.size"_ns,
              number(12));
}

TEST(KeyPath, ComputesOverNothing) {
  expectValue(NSArray::array(), "@sum.size"_ns, number(0));
  expectValue(NSArray::array(), "@avg.size"_ns, number(0));
  expectValue(NSArray::array(), "@min.size"_ns, nil);
  expectValue(NSArray::array(), "@max.size"_ns, nil);
  // What has no value is passed over, but counts in the average.
  const auto some = NSArray::arrayWithObjects({item("a"_ns, 4), NSDictionary::dictionary()});
  expectValue(some, "@sum.size"_ns, number(4));
  expectValue(some, "@avg.size"_ns, number(2));
  expectValue(some, "@min.size"_ns, number(4));
}

TEST(KeyPath, UnitesCollections) {
  expectValue(items(), "@unionOfObjects.name"_ns, NSArray::arrayWithObjects({"b"_ns, "a"_ns, "b"_ns}));
  expectValue(NSSet::setWithArray(as<NSArray>(items()->valueForKeyPath("@distinctUnionOfObjects.name"_ns))), "self"_ns,
              NSSet::setWithObjects({"a"_ns, "b"_ns}));
  EXPECT_EQ(as<NSArray>(items()->valueForKeyPath("@distinctUnionOfObjects.name"_ns))->count(), 2U);
  const auto lists = NSArray::arrayWithObjects({items(), NSArray::arrayWithObject(item("c"_ns, 1))});
  expectValue(lists, "@unionOfArrays.name"_ns, NSArray::arrayWithObjects({"b"_ns, "a"_ns, "b"_ns, "c"_ns}));
  EXPECT_EQ(as<NSArray>(lists->valueForKeyPath("@distinctUnionOfArrays.name"_ns))->count(), 3U);
  const auto sets = NSSet::setWithObjects({NSSet::setWithArray(items()), NSSet::setWithObject(item("c"_ns, 1))});
  expectValue(sets, "@distinctUnionOfSets.name"_ns, NSSet::setWithObjects({"a"_ns, "b"_ns, "c"_ns}));
  // The operator need not come first, and what it gives can be asked on.
  expectValue(NSDictionary::dictionaryWithObject_forKey(items(), "items"_ns), "items.@unionOfObjects.name.length"_ns,
              NSArray::arrayWithObjects({number(1), number(1), number(1)}));
}

TEST(KeyPath, OperatorsThatDoNotExistRaise) {
  EXPECT_THROW(items()->valueForKeyPath("@median.size"_ns), Ref<NSException>);
  EXPECT_THROW(items()->valueForKeyPath("@sum"_ns), Ref<NSException>);
  EXPECT_THROW("text"_ns->valueForKeyPath("@count"_ns), Ref<NSException>);
}

TEST(KeyPath, MayBeLong) {
  const auto node = NSMutableDictionary::dictionary();
  node->setObject_forKey(node, "next"_ns);
  node->setObject_forKey("end"_ns, "value"_ns);
  std::u16string path;
  for (int step = 0; step < 100'000; ++step) path += u"next.";
  expectValue(node, NSString::stringWithUnits(path + u"value"), "end"_ns);
  node->removeAllObjects();
}

TEST(KeyPath, OperatorsWithinOperatorsMayNotGoOnForEver) {
  const auto list = NSMutableArray::array();
  list->addObject(list);
  std::u16string path;
  for (int step = 0; step < 100'000; ++step) path += u"@unionOfObjects.";
  EXPECT_THROW(list->valueForKeyPath(NSString::stringWithUnits(path + u"@count")), Ref<NSException>);
  // So many as anybody needs are no trouble.
  path.resize(std::u16string_view(u"@unionOfObjects.").size() * 20);
  id value = list->valueForKeyPath(NSString::stringWithUnits(path + u"@count"));
  for (int level = 0; level < 20; ++level) value = as<NSArray>(value)->firstObject();
  EXPECT_TRUE(NSEqualObjects(value, number(1)));
  list->removeAllObjects();
}

TEST(KeyPath, AnElementWithoutAValueHasNullInAnArray) {
  const auto some = NSArray::arrayWithObjects({item("a"_ns, 4), NSDictionary::dictionary()});
  expectValue(some, "name"_ns, NSArray::arrayWithObjects({"a"_ns, NSNull::null()}));
}

}  // namespace
