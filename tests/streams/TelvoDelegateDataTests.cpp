#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "streams/TelvoDelegateData.h"

namespace {

// Writes down what it is told.
class Listener : public NSObject {
  NS_OBJECT(Listener, NSObject)

 public:
  void ended(const id& sender) { note("ended:", {sender}); }
  void uploaded(const id& sender, const id& object) { note("informer:uploaded:", {sender, object}); }
  void three(const id& sender, const id& first, const id& second) {
    note("informer:took:gave:", {sender, first, second});
  }
  void fails(const id&) { NSException::raise_format("TestException"_ns, "on purpose"_ns); }
  void throwsOther(const id&) { throw std::runtime_error("not the platform's"); }

  std::vector<std::string> names;
  std::vector<std::vector<id>> arguments;
  bool onMainThread = true;

 protected:
  void note(const char* name, std::vector<id> given) {
    names.emplace_back(name);
    arguments.push_back(std::move(given));
    onMainThread = onMainThread && NSThread::isMainThread();
  }
};

Class Listener::classObject() {
  static const NSClass object("Listener", NSObject::classObject(),
                              {
                                  method("ended:"_sel, &Listener::ended),
                                  method("informer:uploaded:"_sel, &Listener::uploaded),
                                  method("informer:took:gave:"_sel, &Listener::three),
                                  method("fails:"_sel, &Listener::fails),
                                  method("throwsOther:"_sel, &Listener::throwsOther),
                              });
  return &object;
}

class Watcher : public NSObject {
  NS_OBJECT(Watcher, NSObject)

 public:
  void sent(const id& sender, const Ref<NSDictionary>& parameters) {
    sender_ = sender;
    watched.push_back(parameters);
  }
  void fails(const id&) { NSException::raise_format("TestException"_ns, "on purpose"_ns); }

  std::vector<Ref<NSDictionary>> watched;
  id sender_;
};

Class Watcher::classObject() {
  static const NSClass object(
      "Watcher", NSObject::classObject(),
      {method("delegateData:sentDelegateMessage:"_sel, &Watcher::sent), method("fails:"_sel, &Watcher::fails)});
  return &object;
}

class TelvoDelegateDataTest : public testing::Test {
 protected:
  // The informer owns its delegate, and what the delegate has noted holds the informer.
  ~TelvoDelegateDataTest() override { informer->setDelegate(nil); }

  Ref<TelvoDelegateData> informer = make<TelvoDelegateData>();
  Ref<Listener> listener = make<Listener>();

  // What the function wrote to the log.
  template <class Function>
  static std::string logOf(const Function& function) {
    testing::internal::CaptureStderr();
    function();
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(TelvoDelegateDataTest, HasNoDelegateAtFirst) { EXPECT_EQ(informer->delegate(), nil); }

TEST_F(TelvoDelegateDataTest, KeepsItsDelegateAlive) {
  const WeakRef<Listener> weak(listener);
  informer->setDelegate(listener);
  listener = nil;
  EXPECT_FALSE(weak.expired());
  informer->setDelegate(nil);
  EXPECT_TRUE(weak.expired());
}

TEST_F(TelvoDelegateDataTest, PassesItselfAsTheFirstArgument) {
  informer->setDelegate(listener);
  informer->informDelegateUsingSignature("ended:"_ns);
  ASSERT_EQ(listener->arguments.size(), 1U);
  EXPECT_EQ(listener->arguments[0], std::vector<id>{informer});
}

TEST_F(TelvoDelegateDataTest, PassesOneFurtherObject) {
  informer->setDelegate(listener);
  informer->informDelegateUsingSignature_withObject("informer:uploaded:"_ns, "text"_ns);
  EXPECT_TRUE(listener->arguments.at(0).at(1)->isEqual("text"_ns));
}

TEST_F(TelvoDelegateDataTest, ReplacesANilObjectByTheEmptyText) {
  informer->setDelegate(listener);
  informer->informDelegateUsingSignature_withObject("informer:uploaded:"_ns, nil);
  EXPECT_TRUE(listener->arguments.at(0).at(1)->isEqual(""_ns));
}

TEST_F(TelvoDelegateDataTest, PassesSeveralArgumentsInOrder) {
  informer->setDelegate(listener);
  informer->informDelegateUsingSignature_withArguments("informer:took:gave:"_ns,
                                                       NSArray::arrayWithObjects({"one"_ns, "two"_ns}));
  ASSERT_EQ(listener->arguments.at(0).size(), 3U);
  EXPECT_TRUE(listener->arguments[0][1]->isEqual("one"_ns));
  EXPECT_TRUE(listener->arguments[0][2]->isEqual("two"_ns));
}

TEST_F(TelvoDelegateDataTest, LogsAndCallsNothingWhenTheNumberOfArgumentsDiffers) {
  informer->setDelegate(listener);
  const std::string log = logOf([&] {
    informer->informDelegateUsingSignature_withArguments("informer:took:gave:"_ns,
                                                         NSArray::arrayWithObjects({"one"_ns}));
  });
  EXPECT_TRUE(listener->names.empty());
  EXPECT_NE(log.find("has different number of arguments"), std::string::npos);
}

TEST_F(TelvoDelegateDataTest, EmptyArgumentsMakeAMessageWithoutFurtherArguments) {
  const auto watcher = make<Watcher>();
  informer->setDelegate(watcher);
  informer->informDelegateUsingSignature_withArguments("ended:"_ns, NSArray::array());
  informer->informDelegateUsingSignature_withArguments("ended:"_ns, nil);
  ASSERT_EQ(watcher->watched.size(), 2U);
  for (const auto& parameters : watcher->watched) {
    EXPECT_EQ(as<NSNumber>(parameters->objectForKey("ObjectCount"_ns))->integerValue(), 0);
    EXPECT_EQ(parameters->objectForKey("Object"_ns), nil);
  }
}

TEST_F(TelvoDelegateDataTest, AWatchingDelegateSeesEveryNotificationItDoesNotImplement) {
  const auto watcher = make<Watcher>();
  informer->setDelegate(watcher);
  informer->informDelegateUsingSignature_withObject("informer:uploaded:"_ns, "x"_ns);
  informer->informDelegateUsingSignature_withArguments("a:b:c:"_ns, NSArray::arrayWithObjects({"y"_ns, "z"_ns}));
  ASSERT_EQ(watcher->watched.size(), 2U);
  EXPECT_EQ(watcher->sender_, informer);
  const auto expected = NSDictionary::dictionary({{"Signature"_ns, "informer:uploaded:"_ns},
                                                  {"Object"_ns, "x"_ns},
                                                  {"ObjectCount"_ns, NSNumber::numberWithInteger(1)}});
  EXPECT_TRUE(watcher->watched[0]->isEqual(expected));
  EXPECT_EQ(as<NSNumber>(watcher->watched[1]->objectForKey("ObjectCount"_ns))->integerValue(), -1);
  EXPECT_EQ(as<NSArray>(watcher->watched[1]->objectForKey("Object"_ns))->count(), 2U);
}

TEST_F(TelvoDelegateDataTest, IsSilentWhenTheDelegateImplementsNothingOrIsMissing) {
  const std::string log = logOf([&] {
    informer->informDelegateUsingSignature("ended:"_ns);
    informer->setDelegate("no listener"_ns);
    informer->informDelegateUsingSignature("ended:"_ns);
    informer->informDelegateUsingSignature_withObject("informer:uploaded:"_ns, "x"_ns);
  });
  EXPECT_EQ(log, "");
}

TEST_F(TelvoDelegateDataTest, LogsADelegatesExceptionOnceAndGoesOn) {
  informer->setDelegate(listener);
  const std::string log = logOf([&] {
    informer->informDelegateUsingSignature("fails:"_ns);
    informer->informDelegateUsingSignature("ended:"_ns);
  });
  EXPECT_NE(log.find("Exception TestException (on purpose) occurred when informing delegate: parameters = {\n"
                     "    ObjectCount = 0;\n    Signature = \"fails:\";\n}"),
            std::string::npos)
      << log;
  EXPECT_EQ(log.find("occurred when"), log.rfind("occurred when"));
  EXPECT_EQ(listener->names, std::vector<std::string>{"ended:"});
}

TEST_F(TelvoDelegateDataTest, AfterAnExceptionTheWatchIsSkipped) {
  const auto watcher = make<Watcher>();
  informer->setDelegate(watcher);
  logOf([&] { informer->informDelegateUsingSignature("fails:"_ns); });
  EXPECT_TRUE(watcher->watched.empty());
}

TEST_F(TelvoDelegateDataTest, ExceptionsOfOtherKindsPassOn) {
  informer->setDelegate(listener);
  EXPECT_THROW(informer->informDelegateUsingSignature("throwsOther:"_ns), std::runtime_error);
}

TEST_F(TelvoDelegateDataTest, AnotherThreadWaitsUntilTheMainThreadHasDelivered) {
  informer->setDelegate(listener);
  std::atomic<bool> done = false;
  std::vector<std::size_t> seen;
  std::thread thread([&] {
    for (int i = 0; i < 50; ++i) {
      informer->informDelegateUsingSignature_withObject("informer:uploaded:"_ns, NSNumber::numberWithInt(i));
      seen.push_back(listener->names.size());
    }
    done = true;
  });
  const auto runLoop = NSRunLoop::currentRunLoop();
  while (!done) runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.05));
  thread.join();
  EXPECT_TRUE(listener->onMainThread);
  ASSERT_EQ(seen.size(), 50U);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i], i + 1);
    EXPECT_EQ(as<NSNumber>(listener->arguments[i][1])->integerValue(), static_cast<NSInteger>(i));
  }
}

}  // namespace
