#include "host/runner/evidence.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "host/wpa_cli_wrapper/control_client.h"

namespace {

constexpr std::string_view kDriver = "DRIVER ";
constexpr std::string_view kDelete = "POLICY_DELETE cookie ";

// Whether the answer was too short for the list of policies, which comes last.
bool IsCut(const StatusLines& lines) {
  const auto listed = std::count_if(lines.begin(), lines.end(), [](const auto& line) {
    return line.first.starts_with("policy[");
  });
  const std::pair<std::string, std::string> count("policies", std::to_string(listed));
  return std::find(lines.begin(), lines.end(), count) == lines.end();
}

bool MayChangeDriver(const Exchange& exchange) {
  return exchange.kind == Exchange::Kind::kCommand && exchange.asked.starts_with(kDriver) &&
         exchange.asked != "DRIVER SERVICE_CLASS_SHOW";
}

// One sentence for each line in which the two differ.
std::vector<std::string> Compare(const StatusLines& expectedLines, const StatusLines& heldLines) {
  const std::map<std::string, std::string> expected(expectedLines.begin(), expectedLines.end());
  const std::map<std::string, std::string> held(heldLines.begin(), heldLines.end());
  std::vector<std::string> differences;
  for (const auto& [key, value] : expected) {
    const auto found = held.find(key);
    if (found == held.end()) {
      differences.push_back(fmt::format("{} ({}) is not in the driver", key, value));
    } else if (found->second != value) {
      differences.push_back(
          fmt::format(R"({} is "{}" in the driver, "{}" by what the service was told)", key,
                      found->second, value));
    }
  }
  for (const auto& [key, value] : held) {
    if (!expected.contains(key)) {
      differences.push_back(
          fmt::format("{} ({}) is in the driver, but not known to the service", key, value));
    }
  }
  return differences;
}

}  // namespace

// STATUS-DRIVER asks the driver alone; on a headset a plain STATUS also sends a message to every
// attached client.
std::string Evidence::AskStatus() {
  std::string status;
  const auto client = mCause.empty() ? ControlClient::Open(mControlPath) : nullptr;
  const int32_t result = client ? client->Request("STATUS-DRIVER", status) : kNotSent;
  if (result == kNoAnswer) {
    mCause = "no answer to STATUS-DRIVER: what the driver holds cannot be checked";
  } else if (result != kNotSent && !DriverModel::FromStatus(status)) {
    mCause =
        "this supplicant's STATUS-DRIVER does not tell the driver's state: nothing can be checked";
  }
  return mCause.empty() ? status : "";
}

void Evidence::Prepare() {
  if (!mExpected) {
    mExpected = DriverModel::FromStatus(AskStatus());
  }
}

std::string Evidence::Check(CommandReport& report) {
  if (std::none_of(report.exchanges.begin(), report.exchanges.end(), MayChangeDriver)) {
    return "";
  }
  report.unchecked = true;
  std::vector<std::string> differences;
  for (const Exchange& exchange : report.exchanges) {
    if (mExpected && MayChangeDriver(exchange) && !Follow(exchange)) {
      differences.push_back("a driver refuses what the service was told had succeeded: " +
                            exchange.asked);
    }
  }
  const std::string status = AskStatus();
  const std::optional<DriverModel> held = DriverModel::FromStatus(status);
  if (!held) {
    return std::exchange(mNoticed, true) ? "" : mCause;
  }
  report.state = SplitStatus(status);
  const bool cut = IsCut(report.state);
  if (mExpected && !cut) {
    report.checked = true;
    report.unchecked = false;
    report.differences = Compare(mExpected->Lines(), held->Lines());
    report.differences.insert(report.differences.end(), differences.begin(), differences.end());
  }
  mExpected = held;
  return cut && !std::exchange(mNoticed, true) ? "the supplicant cut its answer to STATUS-DRIVER: "
                                                 "with so many policies what the driver "
                                                 "holds is not checked"
                                               : "";
}

StatusLines Evidence::State() {
  const std::string status = AskStatus();
  return DriverModel::FromStatus(status) ? SplitStatus(status) : StatusLines();
}

// Has the expected driver do what the service was told; false when it refuses.
bool Evidence::Follow(const Exchange& exchange) {
  const std::string command = exchange.asked.substr(kDriver.size());
  if (command.starts_with(kDelete)) {
    // The service deletes all its policies at a time and forgets each, whatever the driver answers.
    for (const std::string& cookie : mCookies) {
      mExpected->Execute(std::string(kDelete) + cookie);
    }
    mCookies.clear();
    return true;
  }
  if (exchange.result < 0) {
    return true;
  }
  char cookie[64] = {};
  std::sscanf(exchange.answered.c_str(), "cookie=%63s", cookie);  // as the service reads it
  if (command.starts_with("POLICY_ADD ")) {
    mCookies.insert(cookie);
  }
  return mExpected->Follow(command, cookie);
}
