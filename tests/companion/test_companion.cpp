// A companion for the link's tests, built on the companion library and driven
// through its standard input, one command a line:
//
//   send type=s:exit name=s:Pad      sends {"type": "exit", "name": "Pad"} and
//                                    prints "reply <status> <entries>" or
//                                    "error <code> <text>"
//   burst 100 type=s:x               sends 100 at once; prints "burst <replies> <errors>"
//   quit                             ends the process
//
// Entries are key=T:value with T one of s b i y u t, "%20" standing for a
// blank in a value. It prints "connected <n>"
// for each connection and "disconnected" when one ends. It serves the app's
// requests "echo" (answers with the request) and "hold" (never returns: the
// link thread stops, so every later request stays in flight).
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
#include <vector>

#include "companion/companion_client.h"

namespace {

using namespace tessarel;

std::string Format(const ValueSet& set) {
  std::string text;
  for (const auto& [key, value] : set) {
    if (!text.empty()) text += ' ';
    text += key + "=";
    if (const auto* s = value.TryString())
      text += "s:" + *s;
    else if (const auto* b = value.TryBoolean())
      text += std::string("b:") + (*b ? "true" : "false");
    else if (const auto* i = value.TryInt32())
      text += "i:" + std::to_string(*i);
    else if (const auto* y = value.TryUInt8())
      text += "y:" + std::to_string(*y);
    else if (const auto* u = value.TryUInt32())
      text += "u:" + std::to_string(*u);
    else if (const auto* t = value.TryUInt64())
      text += "t:" + std::to_string(*t);
    else if (const auto* nested = value.TryValueSet())
      text += "{" + Format(*nested) + "}";
  }
  return text;
}

// "%20" in a value stands for a blank, which would end the word.
std::string Unescape(std::string text) {
  for (std::size_t at = text.find("%20"); at != std::string::npos; at = text.find("%20", at)) {
    text.replace(at, 3, " ");
  }
  return text;
}

ValueSet Parse(std::istringstream& words) {
  ValueSet set;
  std::string word;
  while (words >> word) {
    const auto equals = word.find('=');
    if (equals == std::string::npos || word.size() < equals + 3 || word[equals + 2] != ':')
      continue;
    const std::string key = word.substr(0, equals);
    const char type = word[equals + 1];
    const std::string value = Unescape(word.substr(equals + 3));
    switch (type) {
      case 's':
        set.Insert(key, PropertyValue::CreateString(value));
        break;
      case 'b':
        set.Insert(key, PropertyValue::CreateBoolean(value == "true"));
        break;
      case 'i':
        set.Insert(key, PropertyValue::CreateInt32(std::stoi(value)));
        break;
      case 'y':
        set.Insert(key, PropertyValue::CreateUInt8(static_cast<std::uint8_t>(std::stoul(value))));
        break;
      case 'u':
        set.Insert(key, PropertyValue::CreateUInt32(static_cast<std::uint32_t>(std::stoul(value))));
        break;
      case 't':
        set.Insert(key, PropertyValue::CreateUInt64(std::stoull(value)));
        break;
      default:
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
  std::string uid = std::to_string(getuid());
  std::string hex;
  char digit[3];
  for (char c : uid) {
    std::snprintf(digit, sizeof digit, "%02x", static_cast<unsigned char>(c));
    hex += digit;
  }
  const std::string hello = std::string(1, '\0') + "AUTH EXTERNAL " + hex + "\r\n";
  if (send(fd, hello.data(), hello.size(), MSG_NOSIGNAL) < 0) {
    Print("refused");
    return 0;
  }
  char answer[256];
  const ssize_t got = recv(fd, answer, sizeof answer, 0);
  Print(got > 2 && std::strncmp(answer, "OK", 2) == 0 ? "accepted" : "refused");
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

  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "quit") break;
    if (command == "send") {
      try {
        AppServiceResponse response = client.Notify(Parse(words)).Get(std::chrono::seconds(20));
        Print("reply " + std::to_string(static_cast<std::uint32_t>(response.Status)) +
              (response.Message.Empty() ? "" : " ") + Format(response.Message));
      } catch (const hresult_error& error) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", static_cast<std::uint32_t>(error.code()));
        Print(std::string("error ") + code + " " + error.message());
      }
    } else if (command == "burst") {
      int count = 0;
      words >> count;
      const ValueSet message = Parse(words);
      std::vector<IAsyncOperation<AppServiceResponse>> sends;
      for (int i = 0; i < count; ++i) sends.push_back(client.Notify(message));
      int replies = 0;
      int errors = 0;
      for (auto& send : sends) {
        try {
          send.Get(std::chrono::seconds(20));
          ++replies;
        } catch (const hresult_error&) {
          ++errors;
        }
      }
      Print("burst " + std::to_string(replies) + " " + std::to_string(errors));
    }
  }
  client.Stop();
  return 0;
}
