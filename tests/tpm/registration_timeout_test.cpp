// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "events/publisher.h"
#include "support/machine.h"
#include "tpm/finder_tpmgr.h"

namespace tarni {
namespace {

class RegistrationTimeoutTest : public test::MachineTest {};

TEST_F(RegistrationTimeoutTest, GivesUpAfterAMinute) {
  manager.ignore_register();
  FinderTPMgr client(29);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(client.init(std::make_shared<Publisher>()), -1);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::seconds(60));
  EXPECT_LT(took, std::chrono::seconds(70));
  EXPECT_TRUE(log.contains("[UDF] Wrote to terminator with return = 8\n"));
  EXPECT_TRUE(log.contains("[UDF] Terminator fired!! check out!!\n"));
  EXPECT_TRUE(
      log.contains("[UDF] ERROR: Register failed with timeout - Closing socket!\n"
                   "[UDF] FinderTPMgr::init register_with_topologymgr failed!\n"));
  EXPECT_EQ(client.wait_for_status_change(), -1);
  EXPECT_EQ(client.get_total_currentdraw(), -2);
  EXPECT_TRUE(manager.wait_for_connections(0));
  // The finder's destructor disconnects once more.
  EXPECT_EQ(client.disconnect(), 0);
  // A manager that has come meanwhile: another try gets through.
  manager.answer_register();
  EXPECT_EQ(client.init(std::make_shared<Publisher>()), 0);
  client.disconnect();
}

// Any message is as good as the acknowledgement.
TEST_F(RegistrationTimeoutTest, TakesALateNotificationForAnAnswer) {
  manager.ignore_register();
  auto publisher = std::make_shared<Publisher>();
  FinderTPMgr client(29);
  std::thread late([this] {
    manager.wait_for_registration();
    manager.send_payload(sim::notification_payload(sim::Notification::kHubAttached, "1-1"), 1);
  });
  EXPECT_EQ(client.init(publisher), 0);
  late.join();
  EXPECT_TRUE(manager.wait_for_ack(0x86));
  client.disconnect();
}

}  // namespace
}  // namespace tarni
