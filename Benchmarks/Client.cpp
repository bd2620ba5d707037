#include "Client.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tallyfin::bench {

namespace {

constexpr int kPatienceMilliseconds = 300'000;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::pair<int, int> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("pipe");
  return {ends[0], ends[1]};
}

void closeIfOpen(int& descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

// This process's environment with `changes`, which replace variables of the same name.
std::vector<std::string> environmentWith(const std::vector<std::string>& changes) {
  std::vector<std::string> result = changes;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::string_view name = text.substr(0, text.find('=') + 1);
    bool isChanged = false;
    for (const std::string& change : changes) isChanged = isChanged || change.starts_with(name);
    if (!isChanged) result.emplace_back(text);
  }
  return result;
}

// Starts a command with the given descriptors as its standard input and output. Uses fork instead of
// posix_spawn, because memory that the child shares with this process before exec would count towards the
// command's peak.
pid_t start(std::vector<std::string> command, std::vector<std::string> environment, int input, int output) {
  const std::vector<char*> arguments = pointers(command);
  const std::vector<char*> variables = pointers(environment);
  const pid_t process = fork();
  if (process < 0) fail("fork");
  if (process == 0) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    (void)std::signal(SIGPIPE, SIG_DFL);
    execvpe(arguments[0], arguments.data(), variables.data());
    _exit(127);
  }
  return process;
}

Ending waitFor(pid_t process, Clock::time_point started) {
  int status = 0;
  rusage used{};
  while (wait4(process, &status, 0, &used) < 0) {
    if (errno != EINTR) fail("wait4");
  }
  Ending ending;
  ending.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  ending.seconds = secondsSince(started);
  ending.peakMegabytes = static_cast<double>(used.ru_maxrss) * 1024 / 1e6;
  return ending;
}

}  // namespace

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Ending runCommand(const std::vector<std::string>& command) {
  int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nowhere < 0) fail("/dev/null");
  const auto started = Clock::now();
  const pid_t process = start(command, environmentWith({}), nowhere, nowhere);
  closeIfOpen(nowhere);
  Ending ending = waitFor(process, started);
  if (ending.exitStatus == 127) throw std::runtime_error("cannot run " + command.front());
  return ending;
}

Client::Client(const std::string& path, const std::vector<std::string>& environment) {
  // If the server ends early, the next read reports it; SIGPIPE would end this process.
  (void)std::signal(SIGPIPE, SIG_IGN);
  auto [theirInput, ourEnd] = makePipe();
  input_ = ourEnd;
  auto [fromServer, theirOutput] = makePipe();
  output_ = fromServer;
  started_ = Clock::now();
  process_ = start({path}, environmentWith(environment), theirInput, theirOutput);
  close(theirInput);
  close(theirOutput);
  request("initialize", {{"protocolVersion", "2025-11-25"},
                         {"capabilities", nlohmann::json::object()},
                         {"clientInfo", {{"name", "tallyfin-bench"}, {"version", "1"}}}});
  handshakeSeconds_ = secondsSince(started_);
  send({{"jsonrpc", "2.0"}, {"method", "notifications/initialized"}});
}

Client::~Client() {
  closeIfOpen(input_);
  closeIfOpen(output_);
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

Client::Answer Client::call(std::string_view tool, const nlohmann::json& arguments) {
  const auto asked = Clock::now();
  const nlohmann::json result = request("tools/call", {{"name", tool}, {"arguments", arguments}});
  const double seconds = secondsSince(asked);
  return {result.at("content").at(0).at("text"), result.at("isError"), seconds};
}

double Client::processorSeconds() const {
  clockid_t clock{};  // includes all threads, even those that have ended
  timespec time{};
  if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &time) != 0) {
    throw std::runtime_error("cannot read the server's processor time");
  }
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

Ending Client::finish() {
  closeIfOpen(input_);
  const Ending ending = waitFor(std::exchange(process_, -1), started_);
  return ending;
}

nlohmann::json Client::request(std::string_view method, const nlohmann::json& params) {
  send({{"jsonrpc", "2.0"}, {"id", ++lastId_}, {"method", method}, {"params", params}});
  const nlohmann::json reply = nlohmann::json::parse(readLine());
  if (reply.at("id") != lastId_) throw std::runtime_error("the server answered another question");
  if (!reply.contains("result")) throw std::runtime_error("the server refused: " + reply.dump());
  return reply.at("result");
}

void Client::send(const nlohmann::json& message) const {
  const std::string line = message.dump() + "\n";
  for (std::size_t sent = 0; sent < line.size();) {
    const ssize_t count = write(input_, line.data() + sent, line.size() - sent);
    if (count < 0 && errno != EINTR) fail("writing to the server");
    if (count > 0) sent += static_cast<std::size_t>(count);
  }
}

std::string Client::readLine() {
  for (std::size_t searched = 0;;) {
    const std::size_t end = unread_.find('\n', searched);
    if (end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      return line;
    }
    searched = unread_.size();
    pollfd ready{output_, POLLIN, 0};
    const int found = poll(&ready, 1, kPatienceMilliseconds);
    if (found == 0) throw std::runtime_error("the server does not answer");
    std::array<char, 65536> chunk{};
    const ssize_t count = found < 0 ? -1 : read(output_, chunk.data(), chunk.size());
    if (count < 0 && errno != EINTR) fail("reading from the server");
    if (count == 0) throw std::runtime_error("the server ended without an answer");
    if (count > 0) unread_.append(chunk.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace tallyfin::bench
