// AskTool: starts the server as a client would, calls tools and prints their answers.

#include "Client.hpp"

#include <exception>
#include <iostream>
#include <span>
#include <string_view>

namespace {

constexpr std::string_view kUsage =
    "AskTool SERVER CALL...\n"
    "\n"
    "Starts the executable SERVER, makes the calls one after the other and prints the text of each answer.\n"
    "A CALL is the name of a tool, with its arguments behind it when it needs any:\n"
    "\n"
    "  AskTool TallyfinMCP tally_overview 'tally_cost{\"period\":\"yesterday\"}'\n"
    "\n"
    "Ends with 1 when an answer says that it is an error.\n";

}  // namespace

int main(int argc, char** argv) {
  const auto arguments = std::span(argv, static_cast<std::size_t>(argc)).subspan(1);
  if (arguments.size() < 2) {
    std::cerr << kUsage;
    return 2;
  }
  try {
    tallyfin::bench::Client client(arguments.front(), {});
    bool hasFailed = false;
    for (const std::string_view text : arguments.subspan(1)) {
      const std::size_t brace = std::min(text.find('{'), text.size());
      const auto parameters =
          brace < text.size() ? nlohmann::json::parse(text.substr(brace)) : nlohmann::json::object();
      const auto answer = client.call(text.substr(0, brace), parameters);
      std::cout << answer.text;
      if (!answer.text.ends_with('\n')) std::cout << '\n';
      hasFailed = hasFailed || answer.isError;
    }
    const int status = client.finish().exitStatus;
    if (status != 0) std::cerr << "AskTool: the server ended with status " << status << "\n";
    return hasFailed || status != 0 ? 1 : 0;
  } catch (const std::exception& error) {
    std::cerr << "AskTool: " << error.what() << "\n";
    return 1;
  }
}
