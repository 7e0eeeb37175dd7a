#include "emulated_driver/driver_model.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "emulated_driver/refusal.h"

namespace {

constexpr uint32_t kMaxServiceClassId = 31;  // the highest that a command adds
constexpr uint32_t kMaxDscp = 63;
constexpr std::string_view kClassHeading =
    "(service_class_id, buffer_latency_tolerance, app_ind_default_dscp, app_ind_special_dscp)";

using Values = std::vector<std::string_view>;

// Thrown when a command cannot be carried out; Execute answers FAIL to it.
struct Refused {};

void Require(bool allowed) {
  if (!allowed) {
    throw Refused();
  }
}

uint32_t Number(std::string_view text, uint32_t max = UINT32_MAX, int base = 10) {
  const auto value = ParseNumber(text, max, base);
  Require(value.has_value());
  return *value;
}

uint32_t Mask(std::string_view text) {
  Require(text.starts_with("0x") && text.size() <= sizeof("0xFFFFFFFF") - 1);
  return Number(text.substr(2), UINT32_MAX, 16);
}

// One end of a policy's flow: address and port.
std::string Endpoint(std::string_view address, std::string_view port) {
  in_addr parsed{};
  Require(address.find('\0') == std::string_view::npos && Number(port) != 0 &&
          inet_pton(AF_INET, std::string(address).c_str(), &parsed) == 1);
  return fmt::format("{}:{}", address, Number(port, UINT16_MAX));
}

ServiceClass ServiceClassFrom(const Values& values, uint32_t maxId) {
  Require(values.size() == 4);
  return {Number(values[0], maxId), Number(values[1]), Number(values[2], kMaxDscp),
          Number(values[3], kMaxDscp)};
}

std::string PolicyKey(std::string_view cookie) { return fmt::format("policy[{}]", cookie); }

StatusLines::iterator FindPolicy(StatusLines& policies, std::string_view cookie) {
  const auto found =
      std::find_if(policies.begin(), policies.end(),
                   [key = PolicyKey(cookie)](const auto& policy) { return policy.first == key; });
  Require(found != policies.end());
  return found;
}

// The words of `command` that stand for the "%" in `form`, if all others match.
std::optional<Values> MatchForm(std::string_view form, const Values& command) {
  const Values words = SplitWords(form);
  bool matches = words.size() == command.size();
  Values values;
  for (size_t i = 0; matches && i < words.size(); ++i) {
    if (words[i] == "%") {
      values.push_back(command[i]);
    } else {
      matches = words[i] == command[i];
    }
  }
  return matches ? std::optional(values) : std::nullopt;
}

}  // namespace

std::vector<std::string_view> SplitWords(std::string_view text, char separator) {
  std::vector<std::string_view> words;
  size_t begin = 0;
  for (size_t end = 0; end != std::string_view::npos; begin = end + 1) {
    end = text.find(separator, begin);
    words.push_back(text.substr(begin, end - begin));
  }
  return words;
}

std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t max, int base) {
  uint32_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && stop == end && value <= max ? std::optional(value) : std::nullopt;
}

StatusLines SplitStatus(std::string_view status) {
  StatusLines lines;
  for (const std::string_view line : SplitWords(status, '\n')) {
    const size_t equals = line.find('=');
    if (equals != std::string_view::npos) {
      lines.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
  }
  return lines;
}

ServiceClass ParseServiceClass(const std::string& text) {
  std::vector<std::string_view> numbers = SplitWords(text, ':');
  if (numbers.size() == 2) {
    numbers.insert(numbers.end(), {"46", "40"});
  }
  try {
    return ServiceClassFrom(numbers, UINT8_MAX);
  } catch (const Refused&) {
    throw Refusal(
        "service class \"{}\": write ID:LATENCY or ID:LATENCY:DEFAULT:SPECIAL, an ID from 0 to {} "
        "and two DSCP values from 0 to {}",
        text, UINT8_MAX, kMaxDscp);
  }
}

// A command's words, with "%" for a value, and a function that carries it out. The function changes
// the answer if that is not "OK\n"; to refuse, it throws Refused before it changes anything.
struct DriverModel::Command {
  std::string_view form;
  void (*carryOut)(DriverModel& driver, const Values& values, DriverAnswer& answer);

  static const Command kAll[9];
};

const DriverModel::Command DriverModel::Command::kAll[9] = {
    {"SET_LATENCY_MODE %",
     [](DriverModel& driver, const Values& values, DriverAnswer&) {
       driver.mSettings["latency_mode"] = fmt::to_string(Number(values[0]));
     }},
    {"TSF_CONFIG TSF_SYNC_START %",
     [](DriverModel& driver, const Values& values, DriverAnswer&) {
       driver.mSettings["tsf_sync_interval"] = fmt::to_string(Number(values[0]));
       driver.mSettings["tsf"] = "on";
     }},
    {"TSF_CONFIG TSF_SYNC_STOP",
     [](DriverModel& driver, const Values&, DriverAnswer&) { driver.mSettings["tsf"] = "off"; }},
    {"SET_TX_RATEMASK PHYMODE % RATEMASK %",
     [](DriverModel& driver, const Values& values, DriverAnswer&) {
       const uint32_t phyMode = Number(values[0]);
       driver.mSettings["tx_ratemask"] = fmt::format("0x{:08X}", Mask(values[1]));
       driver.mSettings["tx_ratemask_phymode"] = fmt::to_string(phyMode);
     }},
    {"SERVICE_CLASS_SHOW",
     [](DriverModel& driver, const Values&, DriverAnswer& answer) {
       const auto& classes = driver.mServiceClasses;
       std::string list = fmt::format("{} {}", kEventPrefix, kClassHeading);
       for (const auto& [id, one] : classes) {
         list +=
             fmt::format(" ({}, {}, {}, {})", id, one.latency, one.defaultDscp, one.specialDscp);
       }
       answer.events = {fmt::format("{} svc_count:{}", kEventPrefix, classes.size()), list};
     }},
    {"SERVICE_CLASS_ADD service_class_id % buffer_latency_tolerance % app_ind_default_dscp % "
     "app_ind_special_dscp %",
     [](DriverModel& driver, const Values& values, DriverAnswer&) {
       const ServiceClass added = ServiceClassFrom(values, kMaxServiceClassId);
       Require(driver.mServiceClasses.try_emplace(added.id, added).second);
     }},
    {"POLICY_ADD policy_type ipv4 src_ip % dst_ip % src_port % dst_port % proto udp "
     "service_class_id %",
     [](DriverModel& driver, const Values& values, DriverAnswer& answer) {
       const std::string flow = fmt::format("src {} dst {} class ", Endpoint(values[0], values[2]),
                                            Endpoint(values[1], values[3]));
       Require(driver.mServiceClasses.contains(Number(values[4])));
       for (const auto& [key, policy] : driver.mPolicies) {
         Require(!policy.starts_with(flow));
       }
       const std::string cookie = fmt::format("p{}", ++driver.mLastCookie);
       driver.mPolicies.emplace_back(PolicyKey(cookie), flow + fmt::to_string(Number(values[4])));
       answer.reply = fmt::format("cookie={}\n", cookie);
     }},
    {"POLICY_UPDATE cookie % service_class_id %",
     [](DriverModel& driver, const Values& values, DriverAnswer&) {
       std::string& policy = FindPolicy(driver.mPolicies, values[0])->second;
       Require(driver.mServiceClasses.contains(Number(values[1])));
       policy = policy.substr(0, policy.rfind(' ') + 1) + fmt::to_string(Number(values[1]));
     }},
    {"POLICY_DELETE cookie %",
     [](DriverModel& driver, const Values& values, DriverAnswer&) {
       driver.mPolicies.erase(FindPolicy(driver.mPolicies, values[0]));
     }},
};

DriverModel::DriverModel(const std::vector<ServiceClass>& serviceClasses) {
  static const std::vector<ServiceClass> kDefault = {
      {0, 10, 46, 40}, {1, 20, 46, 40}, {3, 50, 34, 32}};
  for (const ServiceClass& one : serviceClasses.empty() ? kDefault : serviceClasses) {
    mServiceClasses[one.id] = one;
  }
}

std::vector<std::string_view> DriverModel::CommandNames() {
  std::vector<std::string_view> names;
  for (const Command& command : Command::kAll) {
    for (const std::string_view word : SplitWords(command.form)) {
      if (word.find('_') != std::string_view::npos && word[0] >= 'A' && word[0] <= 'Z' &&
          std::find(names.begin(), names.end(), word) == names.end()) {
        names.push_back(word);
      }
    }
  }
  return names;
}

bool DriverModel::Follow(std::string_view command, const std::string& cookie) {
  const size_t policies = mPolicies.size();
  const bool carriedOut = Execute(command).reply != kReplyFail;
  if (mPolicies.size() > policies) {
    mPolicies.back().first = PolicyKey(cookie);
  }
  return carriedOut;
}

DriverAnswer DriverModel::Execute(std::string_view command) {
  const std::vector<std::string_view> words = SplitWords(command);
  try {
    for (const Command& each : Command::kAll) {
      if (const auto values = MatchForm(each.form, words)) {
        DriverAnswer answer;
        each.carryOut(*this, *values, answer);
        return answer;
      }
    }
  } catch (const Refused&) {  // answered below, like an unknown command
  }
  return {std::string(kReplyFail)};
}

std::optional<DriverModel> DriverModel::FromStatus(std::string_view status) {
  DriverModel model;
  model.mServiceClasses.clear();
  bool known = false;
  for (const auto& [key, value] : SplitStatus(status)) {
    ServiceClass one{};
    if (model.mSettings.contains(key)) {
      model.mSettings[key] = value;
      known = true;
    } else if (key.starts_with("policy[")) {
      model.mPolicies.emplace_back(key, value);
    } else if (std::sscanf(key.c_str(), "service_class[%u]", &one.id) == 1 &&
               std::sscanf(value.c_str(), "latency %u default_dscp %u special_dscp %u",
                           &one.latency, &one.defaultDscp, &one.specialDscp) == 3) {
      model.mServiceClasses[one.id] = one;
    }
  }
  return known ? std::optional(model) : std::nullopt;
}

StatusLines DriverModel::Lines() const {
  StatusLines lines(mSettings.begin(), mSettings.end());
  for (const auto& [id, one] : mServiceClasses) {
    lines.emplace_back(fmt::format("service_class[{}]", id),
                       fmt::format("latency {} default_dscp {} special_dscp {}", one.latency,
                                   one.defaultDscp, one.specialDscp));
  }
  lines.insert(lines.end(), mPolicies.begin(), mPolicies.end());
  return lines;
}

std::string DriverModel::Status() const {
  StatusLines lines = Lines();
  lines.insert(lines.begin() + std::ssize(mSettings),
               {{"service_classes", fmt::to_string(mServiceClasses.size())},
                {"policies", fmt::to_string(mPolicies.size())}});
  std::string status;
  for (const auto& [key, value] : lines) {
    status += fmt::format("{}={}\n", key, value);
  }
  return status;
}
