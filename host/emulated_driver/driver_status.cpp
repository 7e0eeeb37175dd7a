// The driver's state as its STATUS tells it.
#include <fmt/format.h>

#include <cstdio>

#include "host/emulated_driver/driver_model.h"

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
