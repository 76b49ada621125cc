// SPDX-License-Identifier: MIT
#include "events/publisher.h"

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <stdexcept>

#include "support/captured_stream.h"

namespace tarni {
namespace {

using test::CapturedStream;
using test::eventually;

std::shared_ptr<Event> event(int type, const std::string& path = "p") {
  auto made = std::make_shared<Event>();
  made->type = static_cast<EventType>(type);
  made->path = path;
  return made;
}

class PublisherTest : public testing::Test {
 protected:
  // A callback that writes its name and what it got.
  Publisher::Callback note(const std::string& name) {
    return [this, name](usb_event_info info) { add(name + std::to_string(info.type) + info.path); };
  }

  void add(const std::string& entry) {
    const std::lock_guard<std::mutex> lock(mutex);
    notes.push_back(entry);
  }

  std::vector<std::string> noted() {
    const std::lock_guard<std::mutex> lock(mutex);
    return notes;
  }

  // Publishes one more event and waits for it: all earlier ones are done then.
  void drain() {
    std::promise<void> done;
    publisher->subscribe(static_cast<EventType>(77), [&done](usb_event_info) { done.set_value(); });
    publisher->publish(event(77));
    ASSERT_EQ(done.get_future().wait_for(test::kLimit), std::future_status::ready);
  }

  CapturedStream log;
  std::mutex mutex;
  std::vector<std::string> notes;
  std::optional<Publisher> publisher{std::in_place};
};

TEST_F(PublisherTest, DeliversInOrderToCallbacksInOrder) {
  publisher->subscribe(DEVICE_ATTACH, note("a"));
  publisher->subscribe(DEVICE_ATTACH, note("b"));
  publisher->subscribe(DEVICE_ATTACH, note("a"));
  publisher->subscribe(HUB_REMOVED, note("c"));
  publisher->publish(event(DEVICE_ATTACH, "x"));
  publisher->publish(nullptr);
  publisher->publish(event(UNSUPPORTED_DEVICE, "nobody"));
  publisher->publish(event(HUB_REMOVED, "y"));
  publisher->publish(event(DEVICE_ATTACH, "z"));
  drain();
  const std::vector<std::string> expected = {"a0x", "b0x", "a0x", "c6y", "a0z", "b0z", "a0z"};
  EXPECT_EQ(noted(), expected);
  EXPECT_TRUE(log.wait_for("[UDF] Publisher : returned from callback\n", 8));
  EXPECT_TRUE(eventually(test::others_sleep)) << "an idle delivery thread waits";
}

TEST_F(PublisherTest, SubscribesToAllNineTypesInLogOrder) {
  publisher->subscribe_to_all(note("n"));
  std::string expected;
  for (const int type : {0, 1, 2, 6, 7, 8, 3, 4, 5}) {
    expected += "[UDF] Subscribing for event " + std::to_string(type) + "\n";
  }
  EXPECT_EQ(log.text(), expected);
  for (int type = -1; type <= 9; ++type) publisher->publish(event(type, ""));
  drain();
  EXPECT_EQ(noted(),
            (std::vector<std::string>{"n0", "n1", "n2", "n3", "n4", "n5", "n6", "n7", "n8"}));
}

TEST_F(PublisherTest, CutsPathsToTheRecord) {
  std::vector<std::size_t> lengths;
  publisher->subscribe(DEVICE_ATTACH, [&](usb_event_info info) {
    lengths.push_back(strnlen(info.path, sizeof(info.path)));
  });
  for (const std::size_t length : {0u, 254u, 255u, 256u, 300u}) {
    publisher->publish(event(DEVICE_ATTACH, std::string(length, 'x')));
  }
  drain();
  EXPECT_EQ(lengths, (std::vector<std::size_t>{0, 254, 255, 255, 255}));
}

TEST_F(PublisherTest, SurvivesWhatCallbacksThrow) {
  publisher->subscribe(DEVICE_ATTACH, [](usb_event_info) { throw std::runtime_error("x"); });
  publisher->subscribe(DEVICE_ATTACH, [](usb_event_info) { throw std::logic_error("y"); });
  publisher->subscribe(DEVICE_ATTACH, [](usb_event_info) { throw 1; });
  publisher->subscribe(DEVICE_ATTACH, nullptr);
  publisher->subscribe(DEVICE_ATTACH, note("last"));
  log.clear();
  publisher->publish(event(DEVICE_ATTACH, ""));
  ASSERT_TRUE(log.wait_for("returned from callback\n", 5));
  const std::string returned = "[UDF] Publisher : returned from callback\n";
  EXPECT_EQ(log.text(), "[UDF] Error: Publisher : caught runtime exception : x\n" + returned +
                            "[UDF] Error: Publisher : caught exception : y\n" + returned +
                            "[UDF] Error: Publisher : caught unknown exception trying to invoke "
                            "callback!\n" +
                            returned +
                            "[UDF] Error: Publisher : caught exception : bad_function_call\n" +
                            returned + returned);
  EXPECT_EQ(noted(), std::vector<std::string>{"last0"});
}

// A callback may subscribe to the type that is being delivered, often enough to
// move the table, and may publish; what it adds counts from the next event on.
TEST_F(PublisherTest, CallbacksMaySubscribeAndPublish) {
  publisher->subscribe(DEVICE_ATTACH, [this](usb_event_info info) {
    if (std::string(info.path) != "first") return;
    for (int i = 0; i < 100; ++i) publisher->subscribe(DEVICE_ATTACH, note("late"));
    publisher->publish(event(DEVICE_ATTACH, "second"));
  });
  publisher->subscribe(DEVICE_ATTACH, note("b"));
  publisher->publish(event(DEVICE_ATTACH, "first"));
  ASSERT_TRUE(eventually([this] { return noted().size() == 102; }));
  EXPECT_EQ(noted()[0], "b0first");
  EXPECT_EQ(noted()[1], "b0second");
  EXPECT_EQ(noted()[2], "late0second");
}

// Closes while a callback runs that publishes once more; `queued` events wait.
class PublisherEndTest : public PublisherTest, public testing::WithParamInterface<int> {};

TEST_P(PublisherEndTest, DropsWhatIsNotDelivered) {
  std::promise<void> entered;
  std::promise<void> leave;
  publisher->subscribe(DEVICE_ATTACH, [&](usb_event_info) {
    entered.set_value();
    leave.get_future().wait();
    publisher->publish(event(DEVICE_REMOVED));
    add("finished");
  });
  publisher->subscribe(DEVICE_ATTACH, note("skipped"));
  publisher->subscribe(DEVICE_REMOVED, note("dropped"));
  publisher->publish(event(DEVICE_ATTACH));
  for (int i = 0; i < GetParam(); ++i) publisher->publish(event(DEVICE_REMOVED));
  entered.get_future().wait();
  log.clear();
  std::thread closer([this] { publisher.reset(); });
  ASSERT_TRUE(log.wait_for("waiting to join worker thread\n"));
  EXPECT_FALSE(log.contains("Exiting")) << "did not wait for the callback";
  leave.set_value();
  closer.join();
  EXPECT_EQ(noted(), std::vector<std::string>{"finished"});
  EXPECT_EQ(log.text(), std::string("[UDF] Publisher destructor - waiting to join worker thread\n"
                                    "[UDF] Publisher : returned from callback\n") +
                            (GetParam() > 0 ? "[UDF] pub_worker : terminating\n" : "") +
                            "[UDF] Exiting Publisher destructor\n");
}

INSTANTIATE_TEST_SUITE_P(WithEventsQueued, PublisherEndTest, testing::Values(0, 2));

TEST_F(PublisherTest, LosesNothingFromManyThreads) {
  std::atomic<int> delivered{0};
  publisher->subscribe(DEVICE_ATTACH, [&](usb_event_info) { ++delivered; });
  std::vector<std::thread> producers;
  for (int t = 0; t < 4; ++t) {
    producers.emplace_back([this] {
      for (int i = 0; i < 2000; ++i) publisher->publish(event(DEVICE_ATTACH));
    });
  }
  for (std::thread& producer : producers) producer.join();
  EXPECT_TRUE(eventually([&] { return delivered == 8000; })) << delivered;
}

}  // namespace
}  // namespace tarni
