// The simulated-keyboard companion as the app meets it: the real program
// against a listener in this process.
#include <gtest/gtest.h>

#include <fstream>

#include "companion/simulated_keyboards.h"
#include "link/link_test_support.h"
#include "link/subprocess.h"
#include "support/value_set_builders.h"

namespace tessarel::testing {
namespace {

class SimulatedCompanionTest : public ListeningTest {
 protected:
  std::string Command() const {
    return SimulatedCompanionPath() + " --socket " + SocketPath().string();
  }
};

// How lighting changes show in the next read is the simulator's own test;
// here the program serves what its file holds.
TEST_F(SimulatedCompanionTest, ServesTheKeyboardsOfItsFile) {
  const std::string json = R"({"settings": {"shippedFirmwareVersion": 3},
    "keyboards": [{"id": "K1", "name": "Old", "model": 1, "firmwareVersion": 2,
                   "layers": [{"type": 0, "keys": [[{}, {"activeColor": "#010203"}]]}]}]})";
  const auto file = runtimeDirectory_ / "keyboards.json";
  std::ofstream(file) << json;
  Subprocess companion({SimulatedCompanionPath(), "--socket", SocketPath().string(), "--keyboards",
                        file.string(), "--select-file", "/home/me/fw.tfw"});
  const AppServiceConnection channel = recorder_.WaitFor(1);
  ASSERT_TRUE(channel);
  const companion::SimulatedDevices devices = companion::ParseSimulatedDevices(json);
  const std::pair<ValueSet, ValueSet> rows[] = {
      {Request("keyboards"),
       Set({{"keyboards", Nested(companion::EncodeKeyboardList({&devices.keyboards[0]}))}})},
      {Request("selectFile"), Set({{"result", Str("/home/me/fw.tfw")}})},
  };
  for (const auto& [request, reply] : rows) {
    const AppServiceResponse response = channel.SendMessageAsync(request).Get();
    EXPECT_EQ(response.Status, AppServiceResponseStatus::Success);
    EXPECT_EQ(response.Message, reply);
  }
}

TEST_F(SimulatedCompanionTest, OneCompanionServesTheSocket) {
  Subprocess first({SimulatedCompanionPath(), "--socket", SocketPath().string()});
  ASSERT_TRUE(recorder_.WaitFor(1));
  // A second one leaves at once, with success ("timeout" would say 124).
  EXPECT_EQ(WEXITSTATUS(RunCommand("timeout 10 " + Command()).status), 0);
  EXPECT_TRUE(first.Running());
  EXPECT_EQ(recorder_.Count(), 1u);
  Subprocess allowed(
      {SimulatedCompanionPath(), "--socket", SocketPath().string(), "--allow-second-instance"});
  EXPECT_TRUE(recorder_.WaitFor(2));
}

TEST_F(SimulatedCompanionTest, WaitsForTheAppQuietlyInTheBackground) {
  listener_.reset();  // no app yet
  const CommandResult quiet = RunCommand("timeout 1 " + Command() + " --background");
  EXPECT_EQ(WEXITSTATUS(quiet.status), 124);  // still waiting when the time ran out
  EXPECT_EQ(quiet.output, "");
  const CommandResult chatty = RunCommand("timeout 1 " + Command());
  EXPECT_EQ(WEXITSTATUS(chatty.status), 124);
  EXPECT_NE(chatty.output.find("Waiting for the app at " + SocketPath().string()),
            std::string::npos)
      << chatty.output;
}

TEST_F(SimulatedCompanionTest, RefusesToStartWithABrokenKeyboardFile) {
  const auto file = runtimeDirectory_ / "keyboards.json";
  std::ofstream(file) << R"({"keyboards": [{"id": "K"}]})";
  const CommandResult result = RunCommand(Command() + " --keyboards " + file.string());
  EXPECT_EQ(WEXITSTATUS(result.status), 1);
  EXPECT_EQ(result.output,
            "tessarel-companion: " + file.string() + ": keyboards[0].name: is missing\n");
  EXPECT_EQ(WEXITSTATUS(RunCommand(SimulatedCompanionPath() + " --bogus").status), 2);
}

}  // namespace
}  // namespace tessarel::testing
