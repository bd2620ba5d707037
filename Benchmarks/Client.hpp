#pragma once

// A client of the server: starts it, speaks the protocol over its standard streams and measures it.

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>
#include <sys/types.h>

namespace tallyfin::bench {

using Clock = std::chrono::steady_clock;

/// Seconds since `start`.
double secondsSince(Clock::time_point start);

/// What the operating system says of a process that has ended.
struct Ending {
  int exitStatus = 0;  ///< 128 + the signal's number when a signal ended it
  double seconds = 0;  ///< from its start to its end
  double peakMegabytes = 0;
};

/// Runs a command, found through PATH, to its end with its output thrown away. Throws std::runtime_error when
/// it cannot be started.
Ending runCommand(const std::vector<std::string>& command);

/// A running server. Every failure, a silence of five minutes among them, is thrown as std::runtime_error.
class Client {
 public:
  struct Answer {
    std::string text;
    bool isError = false;
    double seconds = 0;  ///< from writing the question to having read the answer
  };

  /// Starts the server `path` and shakes hands. `environment` holds "NAME=value" entries on top of ours.
  Client(const std::string& path, const std::vector<std::string>& environment);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Calls a tool and waits for its text.
  Answer call(std::string_view tool, const nlohmann::json& arguments);

  /// When the process was started.
  Clock::time_point started() const { return started_; }

  /// Seconds from the start of the process to its reply to `initialize`.
  double handshakeSeconds() const { return handshakeSeconds_; }

  /// Seconds that the server has spent on a processor so far, its own and the system's on its behalf.
  double processorSeconds() const;

  /// Closes the server's input and waits for its end.
  Ending finish();

 private:
  nlohmann::json request(std::string_view method, const nlohmann::json& params);
  void send(const nlohmann::json& message) const;
  std::string readLine();

  Clock::time_point started_;
  pid_t process_ = -1;
  int input_ = -1;   // we write, the server reads
  int output_ = -1;  // the server writes, we read
  std::string unread_;
  int lastId_ = 0;
  double handshakeSeconds_ = 0;
};

}  // namespace tallyfin::bench
