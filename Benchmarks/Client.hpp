#pragma once

// A client for the server: starts it, speaks the protocol over its standard streams and measures it.

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

/// What the system reports about a process that has ended.
struct Ending {
  int exitStatus = 0;  ///< 128 + the signal number if a signal ended it
  double seconds = 0;  ///< from start to end
  double peakMegabytes = 0;
};

/// Runs a command found through PATH and discards its output. Throws std::runtime_error if the command cannot
/// be started.
Ending runCommand(const std::vector<std::string>& command);

/// A running server. Every failure, including five minutes without an answer, is thrown as
/// std::runtime_error.
class Client {
 public:
  struct Answer {
    std::string text;
    bool isError = false;
    double seconds = 0;  ///< from sending the request to having read the answer
  };

  /// Starts the server at `path` and completes the handshake. `environment` contains "NAME=value" entries
  /// that are added to the environment of this process.
  Client(const std::string& path, const std::vector<std::string>& environment);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Calls a tool and waits for its answer.
  Answer call(std::string_view tool, const nlohmann::json& arguments);

  /// The time at which the process was started.
  Clock::time_point started() const { return started_; }

  /// Seconds from the start of the process to its reply to `initialize`.
  double handshakeSeconds() const { return handshakeSeconds_; }

  /// Processor time of the server so far in seconds, including system time.
  double processorSeconds() const;

  /// Closes the server's input and waits until it ends.
  Ending finish();

 private:
  nlohmann::json request(std::string_view method, const nlohmann::json& params);
  void send(const nlohmann::json& message) const;
  std::string readLine();

  Clock::time_point started_;
  pid_t process_ = -1;
  int input_ = -1;   // written by this process
  int output_ = -1;  // read by this process
  std::string unread_;
  int lastId_ = 0;
  double handshakeSeconds_ = 0;
};

}  // namespace tallyfin::bench
