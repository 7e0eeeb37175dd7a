#include "wlc/evidence.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "platform/control_client.h"

namespace {

constexpr std::string_view kDriver = "DRIVER ";
constexpr std::string_view kDelete = "POLICY_DELETE cookie ";

// Whether the answer ended before all policies, which come last, were listed.
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

// One sentence for each key in which the two differ.
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
std::optional<DriverModel> Evidence::Ask(StatusLines& lines) {
  std::string status;
  const auto client = mCause.empty() ? ControlClient::Open(mControlPath) : nullptr;
  const int32_t result = client ? client->Request("STATUS-DRIVER", status) : kNotSent;
  std::optional<DriverModel> held = DriverModel::FromStatus(status);
  if (held) {
    lines = SplitStatus(status);
    if (mEmulated != nullptr && IsCut(lines)) {
      status = mEmulated->Status();
      held = DriverModel::FromStatus(status);
      lines = SplitStatus(status);
    }
  } else if (result == kNoAnswer) {
    mCause = "no answer to STATUS-DRIVER: what the driver holds cannot be checked";
  } else if (result != kNotSent) {
    mCause =
        "this supplicant's STATUS-DRIVER does not tell the driver's state: nothing can be checked";
  }
  return held;
}

void Evidence::Prepare() {
  StatusLines lines;
  std::optional<DriverModel> held = mExpected ? std::nullopt : Ask(lines);
  if (held && !IsCut(lines)) {
    mExpected = std::move(held);
  }
}

std::string Evidence::Check(CommandReport& report) {
  std::vector<std::string> refused;
  bool mayChange = false;
  for (const Exchange& exchange : report.exchanges) {
    const bool may = MayChangeDriver(exchange);
    mayChange = mayChange || may;
    if (may && mExpected && !Follow(exchange)) {
      refused.push_back("a driver refuses what the service was told had succeeded: " +
                        exchange.asked);
    }
  }
  if (!mayChange) {
    return "";
  }
  const std::optional<DriverModel> held = Ask(report.state);
  const bool cut = held && IsCut(report.state);
  report.checked = mExpected && held && !cut;
  report.unchecked = !report.checked;
  if (report.checked) {
    const std::vector<std::string> found = Compare(mExpected->Lines(), held->Lines());
    const auto isNew = [this](const std::string& difference) {
      return std::find(mStanding.begin(), mStanding.end(), difference) == mStanding.end();
    };
    refused.insert(refused.begin(), found.begin(), found.end());
    const auto old = std::stable_partition(refused.begin(), refused.end(), isNew);
    report.asBefore = static_cast<size_t>(refused.end() - old);
    report.differences = refused;
    mStanding = found;
  } else if (held && !cut) {
    mExpected = held;
  }
  const std::string notice = cut ? "the supplicant cut its answer to STATUS-DRIVER: with so many "
                                   "policies what the driver holds is not checked"
                                 : mCause;
  return notice.empty() || std::exchange(mNoticed, true) ? "" : notice;
}

// Repeats on the expected driver what the service was told had succeeded; false when it refuses.
bool Evidence::Follow(const Exchange& exchange) {
  const std::string command = exchange.asked.substr(kDriver.size());
  if (command.starts_with(kDelete)) {
    // The service always deletes all its policies together, and forgets them even if that fails.
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
