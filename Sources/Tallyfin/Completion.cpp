#include "Tallyfin/Completion.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Text.hpp"
#include "Tallyfin/CommandLine.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Attribution/ProjectPath.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

namespace tallyfin::Command {
namespace {

// Collects the completions that match the word being typed, one per line.
class Offers {
 public:
  explicit Offers(std::string word) : word_(std::move(word)) {}

  void add(std::string_view text, std::string_view meaning = {}) {
    // A text with characters that a terminal cannot show, such as a tab, cannot be typed either. A text with
    // a line feed would become two completions.
    if (text.starts_with(word_) && visible(text) == text && text.find('\n') == std::string_view::npos) {
      append(lines_, text, meaning.empty() ? "" : "\t", meaning, "\n");
    }
  }

  // Adds a path. Its last component may match too: "~/src/atlas" is offered for "at".
  void addPath(std::string_view label) {
    const bool fitsLastPart = Files::lastComponent(label).starts_with(word_);
    Offers all(fitsLastPart ? "" : word_);
    all.add(label);
    lines_ += all.lines_;
  }

  void addLine(std::string_view line) { append(lines_, line, "\n"); }

  const std::string& word() const { return word_; }
  const std::string& lines() const { return lines_; }

 private:
  std::string word_;
  std::string lines_;
};

// All names of one kind in the cache, in text order.
std::set<InternedText> namesOf(Values kind, const Environment& environment) {
  ScanCache cache(CacheFile::pathFor(environment));
  cache.load();
  const ProjectResolver resolver(environment.home, true);
  std::set<InternedText> names;
  InternedText last;
  for (const FileProvenance& file : cache.recordsPerFile()) {
    for (const auto& [key, record] : file.records().entries()) {
      const InternedText text = kind == Values::project ? record.rawCwd
                                : kind == Values::agent ? record.agent.name()
                                                        : record.sessionId;
      if (text != last && !text.text().empty()) {
        names.insert(kind == Values::project ? resolver.resolve(text).canonical : text);
        last = text;
      }
    }
  }
  return names;
}

void offerList(const Option& option, Offers& offers) {
  const std::size_t comma = offers.word().rfind(',');
  const std::string before = comma == std::string::npos ? "" : offers.word().substr(0, comma + 1);
  for (const std::string& word : option.words) {
    offers.add(concat(before, word));
  }
}

void offerValues(const Option& option, const Environment& environment, Offers& offers) {
  switch (option.values) {
    case Values::words:
      return offerList(option, offers);
    case Values::file:
      return offers.addLine("\tfiles");
    case Values::directory:
      return offers.addLine("\tfolders");
    case Values::agent:
      offers.add("main");
      [[fallthrough]];
    case Values::project:
    case Values::session:
      for (const InternedText name : namesOf(option.values, environment)) {
        option.values == Values::project ? offers.addPath(name.text()) : offers.add(name.text());
      }
      return;
    case Values::any:
    case Values::number:
    case Values::word:
    case Values::days:
      break;
  }
  for (const std::string& word : option.words) {
    offers.add(word);
  }
}

// Offers the subcommands, or the second words of those that start with `first`.
void offerNames(const std::string& first, Offers& offers) {
  std::string last;
  for (const Subcommand& one : subcommands()) {
    const std::string start = first.empty() ? "" : concat(first, " ");
    if (!one.name.starts_with(start)) {
      continue;
    }
    const std::string rest = one.name.substr(start.size());
    const std::string word = rest.substr(0, rest.find(' '));
    if (word != last) {
      offers.add(word, word == rest ? one.summary : "");
    }
    last = word;
  }
}

const Option* optionNamed(const std::vector<Option>& options, const std::string& word) {
  for (const std::vector<Option>* const some : {&options, &commonOptions()}) {
    for (const Option& option : *some) {
      if (word == concat("--", option.name) ||
          (!option.otherName.empty() && word == concat("--", option.otherName))) {
        return &option;
      }
    }
  }
  return nullptr;
}

void offerOptions(const std::vector<Option>& options, bool isNamed, Offers& offers) {
  for (const std::vector<Option>* const some : {&options, &commonOptions()}) {
    for (const Option& option : *some) {
      offers.add(concat("--", option.name), option.help);
    }
  }
  offers.add("--help", "Show the options");
  if (!isNamed) {
    offers.add("--version", "Print the version");
  }
}

// The option that the next unnamed word would set; null if there is none.
const Option* nextWord(const std::vector<Option>& options, const std::vector<std::string>& words) {
  std::size_t passed = 0;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const Option* const option = optionNamed(options, words[i]);
    if (option != nullptr && !option->value.empty()) {
      ++i;
    } else if (!words[i].starts_with('-')) {
      ++passed;
    }
  }
  for (const Option& option : options) {
    if (option.isWord && passed-- == 0) {
      return &option;
    }
  }
  return nullptr;
}

// Some shells split "--by=project" into three words, the second of which is "=".
std::vector<std::string> withoutEqualSigns(std::vector<std::string> words) {
  if (!words.empty() && words.back() == "=") {
    words.back().clear();
  }
  std::erase(words, "=");
  return words;
}

}  // namespace

std::string offers(const std::vector<std::string>& given, Environment environment) {
  std::vector<std::string> words = withoutEqualSigns(given);
  Offers offers(words.empty() ? "" : words.back());
  if (!words.empty()) {
    words.pop_back();
  }
  CallArguments common;
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] == "--home" || words[i] == "--cache") {
      common.set(words[i].substr(2), words[i + 1]);
    }
  }
  environment = withOptions(std::move(environment), common);

  const NamedSubcommand named = findSubcommand(words);
  const Subcommand& meant = named.subcommand != nullptr ? *named.subcommand : subcommands().front();
  const Option* const before = words.empty() ? nullptr : optionNamed(meant.options, words.back());
  if (before != nullptr && !before->value.empty()) {
    offerValues(*before, environment, offers);
  } else if (offers.word().starts_with('-')) {
    offerOptions(meant.options, !named.name.empty(), offers);
  } else if (named.subcommand == nullptr) {
    offerNames(named.name, offers);
  } else if (named.name == "help") {
    offerNames(named.rest.empty() ? "" : named.rest.front(), offers);
  } else if (const Option* const next = nextWord(meant.options, named.rest)) {
    offerValues(*next, environment, offers);
  }
  return offers.lines();
}

}  // namespace tallyfin::Command
