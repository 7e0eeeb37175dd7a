#include "host/emulated_driver/driver_model.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <sstream>

namespace host {
namespace {

constexpr uint32_t kMaxUint32 = UINT32_MAX;
constexpr uint32_t kMaxServiceClassId = 31;
constexpr uint32_t kMaxDscp = 63;
constexpr uint32_t kMaxPort = 65535;

// All of `text` as an unsigned number: digits only, no sign, no blank, no more than `max`.
std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t max, int base = 10) {
  uint32_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end || value > max) {
    return std::nullopt;
  }
  return value;
}

bool IsIpv4Address(std::string_view text) {
  in_addr address{};
  return inet_pton(AF_INET, std::string(text).c_str(), &address) == 1;
}

// The words of `text`, parted by exactly one blank: two in a row give an empty word between them.
std::vector<std::string_view> SplitWords(std::string_view text) {
  std::vector<std::string_view> words;
  size_t begin = 0;
  for (size_t end = 0; end != std::string_view::npos; begin = end + 1) {
    end = text.find(' ', begin);
    words.push_back(text.substr(begin, end - begin));
  }
  return words;
}

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

// A NUL or another control character would hide what follows it from the parsers of values.
bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

}  // namespace

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

DriverAnswer DriverModel::Execute(std::string_view command) {
  const std::vector<std::string_view> words = SplitWords(command);
  for (const Form& form : kForms) {
    const auto values = MatchForm(form.text, words);
    DriverAnswer answer{std::string(kReplyOk), {}};
    if (values && IsPrintable(command) && (this->*form.operation)(*values, answer)) {
      return answer;
    }
  }
  return {std::string(kReplyFail), {}};
}

bool DriverModel::SetLatencyMode(const Values& values, DriverAnswer& /*answer*/) {
  const auto mode = ParseNumber(values[0], kMaxUint32);
  mLatencyMode = mode.value_or(mLatencyMode);
  return mode.has_value();
}

bool DriverModel::StartTsf(const Values& values, DriverAnswer& /*answer*/) {
  const auto interval = ParseNumber(values[0], kMaxUint32);
  mTsfSyncInterval = interval.value_or(mTsfSyncInterval);
  mTsfOn = mTsfOn || interval;
  return interval.has_value();
}

bool DriverModel::StopTsf(const Values& /*values*/, DriverAnswer& /*answer*/) {
  mTsfOn = false;
  return true;
}

bool DriverModel::SetRateMask(const Values& values, DriverAnswer& /*answer*/) {
  const auto phyMode = ParseNumber(values[0], kMaxUint32);
  const std::string_view mask = values[1];
  if (!phyMode || !mask.starts_with("0x") || mask.size() > sizeof("0xFFFFFFFF") - 1) {
    return false;
  }
  const auto rates = ParseNumber(mask.substr(2), kMaxUint32, 16);
  if (!rates) {
    return false;
  }
  mPhyMode = *phyMode;
  mRateMask = *rates;
  return true;
}

bool DriverModel::ShowServiceClasses(const Values& /*values*/, DriverAnswer& answer) {
  const std::string prefix(kEventPrefix);
  answer.events.push_back(prefix + " svc_count:" + std::to_string(mServiceClasses.size()));
  if (mServiceClasses.empty()) {
    return true;
  }
  std::ostringstream classes;
  classes << prefix
          << " (service_class_id, buffer_latency_tolerance, app_ind_default_dscp, "
             "app_ind_special_dscp)";
  for (const auto& [id, serviceClass] : mServiceClasses) {
    classes << " (" << id << ", " << serviceClass.latency << ", " << serviceClass.defaultDscp
            << ", " << serviceClass.specialDscp << ")";
  }
  answer.events.push_back(classes.str());
  return true;
}

bool DriverModel::AddServiceClass(const Values& values, DriverAnswer& /*answer*/) {
  const auto id = ParseNumber(values[0], kMaxServiceClassId);
  const auto latency = ParseNumber(values[1], kMaxUint32);
  const auto defaultDscp = ParseNumber(values[2], kMaxDscp);
  const auto specialDscp = ParseNumber(values[3], kMaxDscp);
  if (!id || !latency || !defaultDscp || !specialDscp) {
    return false;
  }
  return mServiceClasses.try_emplace(*id, ServiceClass{*id, *latency, *defaultDscp, *specialDscp})
      .second;
}

bool DriverModel::AddPolicy(const Values& values, DriverAnswer& answer) {
  const auto sourcePort = ParseNumber(values[2], kMaxPort);
  const auto destinationPort = ParseNumber(values[3], kMaxPort);
  const auto serviceClass = ParseNumber(values[4], kMaxUint32);
  if (!IsIpv4Address(values[0]) || !IsIpv4Address(values[1]) || sourcePort.value_or(0) == 0 ||
      destinationPort.value_or(0) == 0 || !serviceClass ||
      !mServiceClasses.contains(*serviceClass)) {
    return false;
  }
  std::ostringstream flow;
  flow << "src " << values[0] << ":" << *sourcePort << " dst " << values[1] << ":"
       << *destinationPort;
  if (std::any_of(mPolicies.begin(), mPolicies.end(),
                  [&](const Policy& policy) { return policy.flow == flow.str(); })) {
    return false;
  }
  mPolicies.push_back({"p" + std::to_string(++mLastCookie), flow.str(), *serviceClass});
  answer.reply = "cookie=" + mPolicies.back().cookie + "\n";
  return true;
}

bool DriverModel::UpdatePolicy(const Values& values, DriverAnswer& /*answer*/) {
  const auto policy = FindPolicy(values[0]);
  const auto serviceClass = ParseNumber(values[1], kMaxUint32);
  if (policy == mPolicies.end() || !serviceClass || !mServiceClasses.contains(*serviceClass)) {
    return false;
  }
  policy->serviceClass = *serviceClass;
  return true;
}

bool DriverModel::DeletePolicy(const Values& values, DriverAnswer& /*answer*/) {
  const auto policy = FindPolicy(values[0]);
  if (policy == mPolicies.end()) {
    return false;
  }
  mPolicies.erase(policy);
  return true;
}

std::vector<DriverModel::Policy>::iterator DriverModel::FindPolicy(std::string_view cookie) {
  return std::find_if(mPolicies.begin(), mPolicies.end(),
                      [&](const Policy& policy) { return policy.cookie == cookie; });
}

std::string DriverModel::Status() const {
  char mask[sizeof("0xFFFFFFFF")];
  std::snprintf(mask, sizeof(mask), "0x%08X", mRateMask);
  std::ostringstream status;
  status << "latency_mode=" << mLatencyMode << "\ntx_ratemask_phymode=" << mPhyMode
         << "\ntx_ratemask=" << mask << "\ntsf=" << (mTsfOn ? "on" : "off")
         << "\ntsf_sync_interval=" << mTsfSyncInterval
         << "\nservice_classes=" << mServiceClasses.size() << "\npolicies=" << mPolicies.size()
         << "\n";
  for (const auto& [id, serviceClass] : mServiceClasses) {
    status << "service_class[" << id << "]=latency " << serviceClass.latency << " default_dscp "
           << serviceClass.defaultDscp << " special_dscp " << serviceClass.specialDscp << "\n";
  }
  for (const Policy& policy : mPolicies) {
    status << "policy[" << policy.cookie << "]=" << policy.flow << " class " << policy.serviceClass
           << "\n";
  }
  return status.str();
}

}  // namespace host
