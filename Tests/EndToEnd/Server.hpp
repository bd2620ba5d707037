#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace tallyfin {

/// The real executable as a client starts it: pipes on standard input and output, standard error in a file,
/// no environment but the one given.
class Server {
 public:
  enum class Output { pipe, closed };

  /// `variables` are texts such as "HOME=/tmp/x".
  Server(const std::vector<std::string>& variables, const std::string& logPath, Output output = Output::pipe);

  /// Kills the process if it still runs.
  ~Server();

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Sends bytes as they are.
  void send(std::string_view bytes);

  /// The next line of standard output without its line feed; fails the test when none comes for five minutes.
  std::string line();

  /// Sends a line and gives the answer.
  std::string ask(std::string_view message);

  /// Closes standard input, and gives the rest of standard output and the exit status (128 + the number of
  /// the signal that killed it).
  struct End {
    std::string output;
    int status = -1;
  };
  End finish();

 private:
  bool readMore();

  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string pending_;
};

}  // namespace tallyfin
