// Collections, key paths and settings of up to a million elements: each measured at two sizes, so that a time that
// grows faster than the number of elements shows.

#include <functional>
#include <string>

#include <benchmark/benchmark.h>

#include "categories/NSArray+Telvo.h"
#include "categories/NSDictionary+Telvo.h"
#include "categories/NSObject+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "categories/NSUserDefaults+Telvo.h"
#include "foundation/Foundation.h"

namespace {

constexpr NSInteger most = 1'000'000;

using Make = std::function<id(NSInteger count)>;
using Use = std::function<void(const id& made, NSInteger count)>;

// Times the use of what is made; making it and letting go of it are not measured.
void measure(const char* name, const Make& make, const Use& use) {
  benchmark::RegisterBenchmark(name,
                               [make, use](benchmark::State& state) {
                                 for (auto _ : state) {
                                   state.PauseTiming();
                                   id made = make(state.range(0));
                                   state.ResumeTiming();
                                   use(made, state.range(0));
                                   state.PauseTiming();
                                   made = nil;
                                   state.ResumeTiming();
                                 }
                                 state.SetItemsProcessed(state.iterations() * state.range(0));
                               })
      ->Arg(most / 4)
      ->Arg(most)
      ->Unit(benchmark::kMillisecond);
}

id number(NSInteger value) { return NSNumber::numberWithInteger(value); }
Ref<NSString> key(NSInteger value) { return NSString::stringWithFormat("key %ld"_ns, value); }

Ref<NSMutableArray> numbers(NSInteger count) {
  const auto array = NSMutableArray::arrayWithCapacity(static_cast<NSUInteger>(count));
  for (NSInteger value = 0; value < count; ++value) array->addObject(number(value));
  return array;
}

Ref<NSMutableDictionary> keyed(NSInteger count) {
  const auto dictionary = NSMutableDictionary::dictionaryWithCapacity(static_cast<NSUInteger>(count));
  for (NSInteger value = 0; value < count; ++value) dictionary->setObject_forKey(number(value), key(value));
  return dictionary;
}

// Records that differ in nothing but a number inside an array inside them.
Ref<NSMutableArray> records(NSInteger count) {
  const auto array = NSMutableArray::array();
  for (NSInteger value = 0; value < count; ++value) {
    array->addObject(
        NSDictionary::dictionary({{"name"_ns, "same"_ns}, {"list"_ns, NSArray::arrayWithObject(number(value))}}));
  }
  return array;
}

id nested(NSInteger levels) {
  id object = NSArray::array();
  for (NSInteger level = 0; level < levels; ++level) object = NSArray::arrayWithObject(object);
  return object;
}

Ref<NSMutableDictionary> linkedToItself() {
  const auto node = NSMutableDictionary::dictionary();
  node->setObject_forKey(node, "next"_ns);
  return node;
}

Ref<NSString> repeated(std::u16string_view piece, NSInteger count) {
  std::u16string text;
  for (NSInteger times = 0; times < count; ++times) text += piece;
  return NSString::stringWithUnits(std::move(text));
}

void measureCollections() {
  measure("queue drained by telvo_dequeue", numbers, [](const id& made, NSInteger) {
    const auto queue = as<NSMutableArray>(made);
    while (telvo_dequeue(queue)) continue;
  });
  measure("NSMutableDictionary emptied key by key", keyed, [](const id& made, NSInteger count) {
    const auto dictionary = as<NSMutableDictionary>(made);
    for (NSInteger value = 0; value < count; ++value) dictionary->removeObjectForKey(key(value));
  });
  measure("NSMutableDictionary emptied from the front", keyed, [](const id& made, NSInteger) {
    const auto dictionary = as<NSMutableDictionary>(made);
    while (dictionary->count() > 0) dictionary->removeObjectForKey(dictionary->begin()->first);
  });
  measure(
      "NSMutableSet emptied member by member",
      [](NSInteger count) -> id { return NSMutableSet::setWithArray(numbers(count)); },
      [](const id& made, NSInteger count) {
        for (NSInteger value = 0; value < count; ++value) as<NSMutableSet>(made)->removeObject(number(value));
      });
  measure("NSSet of records", records,
          [](const id& made, NSInteger) { benchmark::DoNotOptimize(NSSet::setWithArray(as<NSArray>(made))); });
  measure("records removed from an array of them", records,
          [](const id& made, NSInteger) { as<NSMutableArray>(made)->removeObjectsInArray(as<NSArray>(made->copy())); });
}

void measureNesting() {
  measure("isEqual, levels", nested, [](const id& made, NSInteger count) {
    const id other = nested(count);
    benchmark::DoNotOptimize(made->isEqual(other));
  });
  measure("release, levels", nested, [](const id& made, NSInteger) { const_cast<id&>(made) = nil; });
}

void measureKeyPaths() {
  measure(
      "key path of as many keys", [](NSInteger) -> id { return linkedToItself(); },
      [](const id& made, NSInteger count) {
        const auto path = repeated(u"next.", count)->stringByAppendingString("next"_ns);
        benchmark::DoNotOptimize(telvo_valueForKeyPath_defaultValue(made, path, nil));
        as<NSMutableDictionary>(made)->removeAllObjects();
      });
  measure(
      "@sum.self", [](NSInteger count) -> id { return numbers(count); },
      [](const id& made, NSInteger) { benchmark::DoNotOptimize(made->valueForKeyPath("@sum.self"_ns)); });
  measure(
      "telvo_factorySettingsForKeys",
      [](NSInteger count) -> id {
        const auto defaults = ::make<NSUserDefaults>("com.example.benchmark"_ns);
        defaults->registerDefaults(keyed(count));
        return defaults;
      },
      [](const id& made, NSInteger) {
        const auto defaults = as<NSUserDefaults>(made);
        const auto keys = defaults->volatileDomainForName(NSRegistrationDomain())->allKeys();
        benchmark::DoNotOptimize(telvo_factorySettingsForKeys(defaults, keys));
      });
}

// Texts of nothing but combining marks, in an order that has to be turned round.
void measureMarks() {
  const Make marks = [](NSInteger count) -> id { return repeated(u"\u0301\u0323", 5 * count); };
  measure("stringByRemovingDiacriticalMarks, ten marks each", marks, [](const id& made, NSInteger) {
    benchmark::DoNotOptimize(telvo_stringByRemovingDiacriticalMarks(as<NSString>(made)));
  });
  measure("decomposedStringWithCanonicalMapping, ten marks each", marks, [](const id& made, NSInteger) {
    benchmark::DoNotOptimize(as<NSString>(made)->decomposedStringWithCanonicalMapping());
  });
  measure("precomposedStringWithCanonicalMapping, ten marks each", marks, [](const id& made, NSInteger) {
    benchmark::DoNotOptimize(as<NSString>(made)->precomposedStringWithCanonicalMapping());
  });
  measure("caseInsensitiveCompare, ten marks each", marks, [](const id& made, NSInteger) {
    benchmark::DoNotOptimize(as<NSString>(made)->caseInsensitiveCompare("a"_ns));
  });
}

bool registerMeasurements() {
  measureCollections();
  measureNesting();
  measureKeyPaths();
  measureMarks();
  return true;
}

[[maybe_unused]] const bool registered = registerMeasurements();

}  // namespace
