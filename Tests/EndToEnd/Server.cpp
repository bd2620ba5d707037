#include "EndToEnd/Server.hpp"

#include "Platform/Streams.hpp"

#include <array>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tallyfin {
namespace {

constexpr int patience = 300'000;  // milliseconds; valgrind is slow

void closeOnce(int& descriptor) {
  if (descriptor >= 0) {
    close(descriptor);
    descriptor = -1;
  }
}

}  // namespace

Server::Server(const std::vector<std::string>& variables, const std::string& logPath, Output output) {
  std::signal(SIGPIPE, SIG_IGN);  // the server may be gone before all is sent
  std::array<int, 2> toServer{};
  std::array<int, 2> fromServer{};
  EXPECT_EQ(pipe2(toServer.data(), O_CLOEXEC), 0);
  EXPECT_EQ(pipe2(fromServer.data(), O_CLOEXEC), 0);
  const int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  EXPECT_GE(log, 0);
  std::vector<char*> environment;
  environment.reserve(variables.size() + 1);
  for (const std::string& variable : variables) {
    environment.push_back(const_cast<char*>(variable.c_str()));
  }
  environment.push_back(nullptr);
  std::array<char*, 2> arguments{const_cast<char*>(TALLYFIN_SERVER), nullptr};

  process_ = fork();
  if (process_ == 0) {
    std::signal(SIGPIPE, SIG_DFL);
    dup2(toServer[0], STDIN_FILENO);
    dup2(fromServer[1], STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    if (output == Output::closed) {
      close(STDOUT_FILENO);
    }
    execve(TALLYFIN_SERVER, arguments.data(), environment.data());
    _exit(127);
  }
  close(toServer[0]);
  close(fromServer[1]);
  close(log);
  input_ = toServer[1];
  output_ = fromServer[0];
}

Server::~Server() {
  closeOnce(input_);
  closeOnce(output_);
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

void Server::send(std::string_view bytes) {
  writeAll(input_, bytes);
}

std::string Server::line() {
  std::size_t scanned = 0;
  std::size_t feed = std::string::npos;
  while ((feed = pending_.find('\n', scanned)) == std::string::npos) {
    scanned = pending_.size();
    if (!readMore()) {
      ADD_FAILURE() << "no answer; so far: " << pending_.substr(0, 1000);
      return {};
    }
  }
  std::string answer = pending_.substr(0, feed);
  pending_.erase(0, feed + 1);
  return answer;
}

std::string Server::ask(std::string_view message) {
  send(std::string(message) + "\n");
  return line();
}

Server::End Server::finish() {
  closeOnce(input_);
  while (output_ >= 0 && readMore()) {
  }
  int status = 0;
  EXPECT_EQ(waitpid(process_, &status, 0), process_);
  process_ = -1;
  return {pending_, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

/// False at the end of output, and when nothing comes for five minutes.
bool Server::readMore() {
  pollfd waiting{.fd = output_, .events = POLLIN, .revents = 0};
  if (poll(&waiting, 1, patience) <= 0) {
    ADD_FAILURE() << "the server is silent";
    return false;
  }
  std::array<char, 65536> chunk{};
  const ssize_t count = read(output_, chunk.data(), chunk.size());
  if (count <= 0) {
    return false;
  }
  pending_.append(chunk.data(), static_cast<std::size_t>(count));
  return true;
}

}  // namespace tallyfin
