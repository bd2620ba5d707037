#pragma once

// Reads the homes and questions in the files of this folder. Golden.cpp describes the format.

#include "Support/Machine.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tallyfin {

namespace fs = std::filesystem;

inline std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// A step: a question and its expected answer.
struct Step {
  std::string question;
  std::string answer;
};

/// The steps of a file. Text above the first step goes into `remark`.
inline std::vector<Step> stepsOf(const std::string& content, std::string& remark) {
  std::vector<Step> steps;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("=== ")) {
      steps.push_back({line.substr(4), ""});
    } else {
      (steps.empty() ? remark : steps.back().answer) += line + "\n";
    }
  }
  return steps;
}

/// Removes and returns the text before the first blank; removes the blank too.
inline std::string firstWord(std::string& text) {
  const std::size_t blank = text.find(' ');
  std::string word = text.substr(0, blank);
  text.erase(0, blank == std::string::npos ? blank : blank + 1);
  return word;
}

/// Sets clock and zone: "2026-03-10 14:30 Europe/Berlin".
inline void setClock(Machine& machine, std::string text) {
  const std::string day = firstWord(text);
  const std::string time = firstWord(text);
  machine.calendar = Calendar::named(text.empty() ? "UTC" : text).value();
  machine.now = machine.calendar.parseDay(day).value().seconds + std::stoi(time) * 3600.0 +
                std::stoi(time.substr(3)) * 60.0;
}

/// Sets up a machine as a home.txt says.
inline void furnish(Machine& machine, const fs::path& homeFile) {
  std::string remark;
  for (const auto& [path, content] : stepsOf(contentOf(homeFile), remark)) {
    if (path.starts_with("clock ")) {
      setClock(machine, path.substr(6));
    } else if (path.ends_with('/')) {
      machine.home.makeDirectory(path);
    } else {
      machine.home.write(path, replaced(content, "{HOME}", machine.home.path()));
    }
  }
}

}  // namespace tallyfin
