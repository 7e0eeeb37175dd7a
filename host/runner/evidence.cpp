#include "host/runner/evidence.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <initializer_list>
#include <optional>
#include <system_error>

namespace host {
namespace {

constexpr std::string_view kShowClasses = "DRIVER SERVICE_CLASS_SHOW";
constexpr std::string_view kClassKey = "service_class[";
constexpr std::string_view kPolicyKey = "policy[";

bool IsDriverKey(const std::string& key) {
  constexpr std::array<std::string_view, 5> kSettings = {"latency_mode", "tx_ratemask_phymode",
                                                         "tx_ratemask", "tsf", "tsf_sync_interval"};
  return std::find(kSettings.begin(), kSettings.end(), key) != kSettings.end() ||
         key.starts_with(kClassKey) || key.starts_with(kPolicyKey);
}

DriverBooks BooksFrom(const StatusLines& lines) {
  DriverBooks books;
  for (const auto& [key, value] : lines) {
    if (IsDriverKey(key)) {
      books[key] = value;
    }
  }
  return books;
}

std::optional<uint32_t> CountFrom(const StatusLines& lines, std::string_view key) {
  for (const auto& [name, value] : lines) {
    uint32_t count = 0;
    if (name == key &&
        std::from_chars(value.data(), value.data() + value.size(), count).ec == std::errc()) {
      return count;
    }
  }
  return std::nullopt;
}

// Whether the supplicant cut the list of policies, which stands last.
bool IsCut(const StatusLines& lines, std::optional<uint32_t> policies) {
  const auto listed = std::count_if(lines.begin(), lines.end(), [](const auto& line) {
    return line.first.starts_with(kPolicyKey);
  });
  return !policies || static_cast<uint32_t>(listed) != *policies;
}

bool MayChangeDriver(const Exchange& exchange) {
  return exchange.command.starts_with("DRIVER ") && exchange.command != kShowClasses;
}

std::string KeyOf(std::string_view list, const std::string& name) {
  return std::string(list) + name + "]";
}

// The driver prints a mask with eight upper-case digits, however it was written.
std::string PrintedMask(const std::string& text) {
  uint32_t mask = 0;
  const char* begin = text.data() + (text.starts_with("0x") || text.starts_with("0X") ? 2 : 0);
  std::from_chars(begin, text.data() + text.size(), mask, 16);
  std::array<char, 16> printed{};
  (void)std::snprintf(printed.data(), printed.size(), "0x%08X", mask);
  return printed.data();
}

// As the service reads it: the first word behind "cookie=" at the very start.
std::string CookieIn(const std::string& reply) {
  constexpr std::string_view kStart = "cookie=";
  if (!reply.starts_with(kStart)) {
    return "";
  }
  const std::vector<std::string> words = SplitWords(reply.substr(kStart.size()));
  return words.empty() ? "" : words.front();
}

std::string Sentence(std::initializer_list<std::string_view> parts) {
  std::string sentence;
  for (const std::string_view part : parts) {
    sentence += part;
  }
  return sentence;
}

std::string WithClass(const std::string& policy, const std::string& serviceClass) {
  return policy.substr(0, policy.rfind(" class ")) + " class " + serviceClass;
}

}  // namespace

std::vector<std::string> Compare(const DriverBooks& books, const DriverBooks& driver) {
  std::vector<std::string> differences;
  for (const auto& [key, value] : books) {
    const auto held = driver.find(key);
    if (held == driver.end()) {
      differences.push_back(Sentence({key, " (", value, ") is not in the driver"}));
    } else if (held->second != value) {
      differences.push_back(Sentence({key, " is \"", held->second, "\" in the driver, \"", value,
                                      "\" by what the service was told"}));
    }
  }
  for (const auto& [key, value] : driver) {
    if (!books.contains(key)) {
      differences.push_back(
          Sentence({key, " (", value, ") is in the driver, but not known to the service"}));
    }
  }
  return differences;
}

void Evidence::Prepare() {
  StatusLines lines;
  if (!mKnown && AskDriverStatus(mControlPath, lines) == StatusAnswer::kTold) {
    mBooks = BooksFrom(lines);
    mKnown = true;
  }
}

std::string Evidence::Ask(StatusLines& lines) {
  const StatusAnswer answer = AskDriverStatus(mControlPath, lines);
  if (answer == StatusAnswer::kTold || mNoticed) {
    return "";
  }
  mNoticed = true;
  return answer == StatusAnswer::kForeign
             ? "this supplicant's STATUS does not tell the driver's state: nothing can be checked"
             : "no answer to STATUS: what the driver holds cannot be checked";
}

std::string Evidence::Check(CommandReport& report) {
  if (std::none_of(report.exchanges.begin(), report.exchanges.end(), MayChangeDriver)) {
    return "";
  }
  for (const Exchange& exchange : report.exchanges) {
    Enter(exchange);
  }
  StatusLines lines;
  std::string notice = Ask(lines);
  if (lines.empty()) {
    return notice;
  }
  report.policies = CountFrom(lines, "policies");
  report.serviceClasses = CountFrom(lines, "service_classes");
  DriverBooks driver = BooksFrom(lines);
  if (mKnown && !IsCut(lines, report.policies)) {
    report.checked = true;
    report.differences = Compare(mBooks, driver);
  }
  mBooks = std::move(driver);
  mKnown = true;
  return notice;
}

void Evidence::Enter(const Exchange& exchange) {
  const std::vector<std::string> words = SplitWords(exchange.command);
  const auto is = [&words](size_t count, const char* verb) {
    return words.size() == count && words[1] == verb;
  };
  if (exchange.command.starts_with("DRIVER POLICY_DELETE")) {
    // Only a whole clearing deletes, and it forgets every policy, whatever the driver answers. (The
    // cookie may be empty.)
    for (const std::string& key : mPolicies) {
      mBooks.erase(key);
    }
    mPolicies.clear();
  }
  if (exchange.result < 0) {
    return;
  }
  if (is(3, "SET_LATENCY_MODE")) {
    mBooks["latency_mode"] = words[2];
  } else if (is(4, "TSF_CONFIG") && words[2] == "TSF_SYNC_START") {
    mBooks["tsf"] = "on";
    mBooks["tsf_sync_interval"] = words[3];
  } else if (is(3, "TSF_CONFIG")) {
    mBooks["tsf"] = "off";
  } else if (is(6, "SET_TX_RATEMASK")) {
    mBooks["tx_ratemask_phymode"] = words[3];
    mBooks["tx_ratemask"] = PrintedMask(words[5]);
  } else if (is(10, "SERVICE_CLASS_ADD")) {
    mBooks[KeyOf(kClassKey, words[3])] =
        "latency " + words[5] + " default_dscp " + words[7] + " special_dscp " + words[9];
  } else if (is(16, "POLICY_ADD")) {
    const std::string key = KeyOf(kPolicyKey, CookieIn(exchange.reply));
    mBooks[key] = "src " + words[5] + ":" + words[9] + " dst " + words[7] + ":" + words[11] +
                  " class " + words[15];
    mPolicies.insert(key);
  } else if (is(6, "POLICY_UPDATE")) {
    std::string& policy = mBooks[KeyOf(kPolicyKey, words[3])];
    policy = WithClass(policy, words[5]);
  }
}

}  // namespace host
