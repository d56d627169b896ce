// A companion for the link's tests, built on the companion library and driven
// through its standard input, one command a line:
//
//   send type=s:exit name=s:Pad   sends {"type": "exit", "name": "Pad"} and prints
//                                 "reply <status> <entries>" or "error <code> <text>"
//
// Entries are key=T:value with T one of s (string), y (uint8) or u (uint32),
// "%20" standing for a blank in a value; replies also show b (boolean). It
// prints "connected <n>" for each connection and "disconnected" when one
// ends. It serves the app's requests "echo" (answers with the request) and
// "hold" (never returns: the link thread stops, so every later request stays
// in flight).
//
// --probe [--setuid UID]: instead, connects once with a bare socket (after
// dropping to UID), offers EXTERNAL authentication and prints "accepted",
// "refused" (the app closed the connection) or "connect-failed <errno>".
#include <grp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "companion/companion_client.h"

namespace {

using namespace tessarel;

std::string Format(const ValueSet& set) {
  std::string text;
  for (const auto& [key, value] : set) {
    text += " " + key + "=";
    if (const auto* b = value.TryBoolean())
      text += std::string("b:") + (*b ? "true" : "false");
    else if (const auto* y = value.TryUInt8())
      text += "y:" + std::to_string(*y);
    else if (const auto* u = value.TryUInt32())
      text += "u:" + std::to_string(*u);
    else
      text += "?";
  }
  return text;
}

ValueSet Parse(std::istringstream& words) {
  ValueSet set;
  for (std::string word; words >> word;) {
    const auto equals = word.find('=');
    if (equals == std::string::npos || word.size() < equals + 3 || word[equals + 2] != ':')
      continue;
    std::string value = word.substr(equals + 3);
    for (auto at = value.find("%20"); at != std::string::npos; at = value.find("%20", at))
      value.replace(at, 3, " ");
    const std::string key = word.substr(0, equals);
    switch (word[equals + 1]) {
      case 's':
        set.Insert(key, PropertyValue::CreateString(value));
        break;
      case 'y':
        set.Insert(key, PropertyValue::CreateUInt8(static_cast<std::uint8_t>(std::stoul(value))));
        break;
      case 'u':
        set.Insert(key, PropertyValue::CreateUInt32(static_cast<std::uint32_t>(std::stoul(value))));
        break;
    }
  }
  return set;
}

void Print(const std::string& line) {
  std::cout << line << std::endl;  // flushed: the test reads line by line
}

int Probe(const char* socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socketPath, sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) < 0) {
    Print(std::string("connect-failed ") + strerrorname_np(errno));
    return 0;
  }
  // The EXTERNAL mechanism names the uid in hex digits of its decimal text.
  std::string hex;
  for (char c : std::to_string(getuid())) {
    char digit[3];
    std::snprintf(digit, sizeof digit, "%02x", static_cast<unsigned char>(c));
    hex += digit;
  }
  const std::string hello = std::string(1, '\0') + "AUTH EXTERNAL " + hex + "\r\n";
  char answer[256];
  const bool ok = send(fd, hello.data(), hello.size(), MSG_NOSIGNAL) >= 0 &&
                  recv(fd, answer, sizeof answer, 0) > 2 && std::strncmp(answer, "OK", 2) == 0;
  Print(ok ? "accepted" : "refused");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string socketPath;
  bool probe = false;
  int setuidTo = -1;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--socket" && i + 1 < argc)
      socketPath = argv[++i];
    else if (option == "--probe")
      probe = true;
    else if (option == "--setuid" && i + 1 < argc)
      setuidTo = std::stoi(argv[++i]);
  }
  if (setuidTo >= 0 &&
      (setgroups(0, nullptr) < 0 || setgid(setuidTo) < 0 || setuid(setuidTo) < 0)) {
    Print(std::string("setuid-failed ") + strerrorname_np(errno));
    return 1;
  }
  if (probe) return Probe(socketPath.c_str());

  companion::CompanionClient::Options options;
  options.socketPath = socketPath;
  options.firstRetryDelay = std::chrono::milliseconds(20);
  options.maxRetryDelay = std::chrono::milliseconds(200);
  companion::CompanionClient client(options);
  client.Handle("echo", [](const ValueSet& request) { return request; });
  client.Handle("hold", [](const ValueSet&) -> ValueSet {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
  });
  client.OnConnected([&client] { Print("connected " + std::to_string(client.ConnectionCount())); });
  client.OnDisconnected([] { Print("disconnected"); });
  client.Start();

  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command;
    if (!(words >> command) || command != "send") continue;
    try {
      const AppServiceResponse response = client.Notify(Parse(words)).Get(std::chrono::seconds(20));
      Print("reply " + std::to_string(static_cast<std::uint32_t>(response.Status)) +
            Format(response.Message));
    } catch (const hresult_error& error) {
      char code[16];
      std::snprintf(code, sizeof code, "0x%08X", static_cast<std::uint32_t>(error.code()));
      Print(std::string("error ") + code + " " + error.message());
    }
  }
  client.Stop();
  return 0;
}
