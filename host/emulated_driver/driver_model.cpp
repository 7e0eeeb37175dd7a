#include "host/emulated_driver/driver_model.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace {

constexpr uint32_t kMaxServiceClassId = 31;
constexpr uint32_t kMaxPort = 65535;

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

// An address and a port, as a policy's flow has them.
std::string Endpoint(std::string_view address, std::string_view port) {
  in_addr parsed{};
  Require(inet_pton(AF_INET, std::string(address).c_str(), &parsed) == 1 && Number(port) != 0);
  return fmt::format("{}:{}", address, Number(port, kMaxPort));
}

std::string PolicyKey(std::string_view cookie) { return fmt::format("policy[{}]", cookie); }

// The words of `command` at the "%" of `form`, if it has the form's words everywhere else.
std::optional<std::vector<std::string_view>> MatchForm(
    std::string_view form, const std::vector<std::string_view>& command) {
  const std::vector<std::string_view> words = SplitWords(form);
  if (words.size() != command.size()) {
    return std::nullopt;
  }
  std::vector<std::string_view> values;
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "%") {
      values.push_back(command[i]);
    } else if (words[i] != command[i]) {
      return std::nullopt;
    }
  }
  return values;
}

// A NUL or another control character could hide what follows it from the parsers of values.
bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
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

std::vector<ServiceClass> DefaultServiceClasses() {
  return {{0, 10, 46, 40}, {1, 20, 46, 40}, {3, 50, 34, 32}};
}

const DriverModel::Form DriverModel::kForms[9] = {
    {"SET_LATENCY_MODE %", &DriverModel::SetLatencyMode},
    {"TSF_CONFIG TSF_SYNC_START %", &DriverModel::StartTsf},
    {"TSF_CONFIG TSF_SYNC_STOP", &DriverModel::StopTsf},
    {"SET_TX_RATEMASK PHYMODE % RATEMASK %", &DriverModel::SetRateMask},
    {"SERVICE_CLASS_SHOW", &DriverModel::ShowServiceClasses},
    {"SERVICE_CLASS_ADD service_class_id % buffer_latency_tolerance % app_ind_default_dscp % "
     "app_ind_special_dscp %",
     &DriverModel::AddServiceClass},
    {"POLICY_ADD policy_type ipv4 src_ip % dst_ip % src_port % dst_port % proto udp "
     "service_class_id %",
     &DriverModel::AddPolicy},
    {"POLICY_UPDATE cookie % service_class_id %", &DriverModel::UpdatePolicy},
    {"POLICY_DELETE cookie %", &DriverModel::DeletePolicy},
};

DriverModel::DriverModel(const std::vector<ServiceClass>& serviceClasses) {
  for (const ServiceClass& serviceClass : serviceClasses) {
    mServiceClasses[serviceClass.id] = serviceClass;
  }
}

std::vector<std::string_view> DriverModel::CommandNames() {
  std::vector<std::string_view> names;
  for (const Form& form : kForms) {
    for (const std::string_view word : SplitWords(form.text)) {
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
    for (const Form& form : kForms) {
      if (const auto values = MatchForm(form.text, words)) {
        Require(IsPrintable(command));
        DriverAnswer answer;
        (this->*form.operation)(*values, answer);
        return answer;
      }
    }
  } catch (const Refused&) {  // answered below, as an unknown command is
  }
  return {std::string(kReplyFail)};
}

void DriverModel::SetLatencyMode(const Values& values, DriverAnswer& /*answer*/) {
  Set("latency_mode", fmt::to_string(Number(values[0])));
}

void DriverModel::StartTsf(const Values& values, DriverAnswer& /*answer*/) {
  Set("tsf_sync_interval", fmt::to_string(Number(values[0])));
  Set("tsf", "on");
}

void DriverModel::StopTsf(const Values& /*values*/, DriverAnswer& /*answer*/) { Set("tsf", "off"); }

void DriverModel::SetRateMask(const Values& values, DriverAnswer& /*answer*/) {
  const uint32_t phyMode = Number(values[0]);
  Set("tx_ratemask", fmt::format("0x{:08X}", Mask(values[1])));
  Set("tx_ratemask_phymode", fmt::to_string(phyMode));
}

void DriverModel::ShowServiceClasses(const Values& /*values*/, DriverAnswer& answer) {
  answer.events.push_back(fmt::format("{} svc_count:{}", kEventPrefix, mServiceClasses.size()));
  std::string classes =
      "(service_class_id, buffer_latency_tolerance, app_ind_default_dscp, app_ind_special_dscp)";
  for (const auto& [id, one] : mServiceClasses) {
    classes += fmt::format(" ({}, {}, {}, {})", id, one.latency, one.defaultDscp, one.specialDscp);
  }
  if (!mServiceClasses.empty()) {
    answer.events.push_back(fmt::format("{} {}", kEventPrefix, classes));
  }
}

void DriverModel::AddServiceClass(const Values& values, DriverAnswer& /*answer*/) {
  const ServiceClass added{Number(values[0], kMaxServiceClassId), Number(values[1]),
                           Number(values[2], kMaxDscp), Number(values[3], kMaxDscp)};
  Require(mServiceClasses.try_emplace(added.id, added).second);
}

void DriverModel::AddPolicy(const Values& values, DriverAnswer& answer) {
  const std::string flow = fmt::format("src {} dst {} class ", Endpoint(values[0], values[2]),
                                       Endpoint(values[1], values[3]));
  const uint32_t serviceClass = KnownClass(values[4]);
  Require(std::none_of(mPolicies.begin(), mPolicies.end(),
                       [&](const auto& policy) { return policy.second.starts_with(flow); }));
  const std::string cookie = fmt::format("p{}", ++mLastCookie);
  mPolicies.emplace_back(PolicyKey(cookie), flow + fmt::to_string(serviceClass));
  answer.reply = fmt::format("cookie={}\n", cookie);
}

void DriverModel::UpdatePolicy(const Values& values, DriverAnswer& /*answer*/) {
  std::string& policy = FindPolicy(values[0])->second;
  const uint32_t serviceClass = KnownClass(values[1]);
  policy = policy.substr(0, policy.rfind(' ') + 1) + fmt::to_string(serviceClass);
}

void DriverModel::DeletePolicy(const Values& values, DriverAnswer& /*answer*/) {
  mPolicies.erase(FindPolicy(values[0]));
}

uint32_t DriverModel::KnownClass(std::string_view id) const {
  Require(mServiceClasses.contains(Number(id)));
  return Number(id);
}

StatusLines::iterator DriverModel::FindPolicy(std::string_view cookie) {
  const auto found =
      std::find_if(mPolicies.begin(), mPolicies.end(),
                   [key = PolicyKey(cookie)](const auto& each) { return each.first == key; });
  Require(found != mPolicies.end());
  return found;
}
