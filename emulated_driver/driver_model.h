// The state of a WLAN driver and the nine private commands that change it.
//
// A command is the text after "DRIVER ": words separated by one blank. It is either carried out and
// answered "OK\n" ("cookie=p1\n" for POLICY_ADD), or refused with "FAIL\n", and then nothing
// changes:
//   SERVICE_CLASS_ADD service_class_id 2 buffer_latency_tolerance 30 app_ind_default_dscp 46
//     app_ind_special_dscp 40                                                          (one line)
// SERVICE_CLASS_SHOW answers "OK\n" and sends two messages to every attached client; the second
// lists all classes after a heading:
//   <3>SVC-EVENT: svc_count:1
//   <3>SVC-EVENT: (service_class_id, ...) (0, 10, 46, 40)
// Limits: commands add up to 32 classes and cannot remove any; any number of policies. One thread
// at a time.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline constexpr std::string_view kReplyOk = "OK\n";
inline constexpr std::string_view kReplyFail = "FAIL\n";
inline constexpr std::string_view kEventPrefix = "<3>SVC-EVENT:";

// The words of `text` between separators; two separators in a row give an empty word.
std::vector<std::string_view> SplitWords(std::string_view text, char separator = ' ');
// All of `text` as an unsigned number: only digits, no sign, no blank. Nothing when it is not one
// or is above `max`.
std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t max = UINT32_MAX,
                                    int base = 10);

// The keys and values of a STATUS, in its order: {"latency_mode", "2"} and so on.
using StatusLines = std::vector<std::pair<std::string, std::string>>;
StatusLines SplitStatus(std::string_view status);

struct ServiceClass {
  uint32_t id;           // 0 to 31 when added by a command
  uint32_t latency;      // buffer latency tolerance, in the driver's unit
  uint32_t defaultDscp;  // 0 to 63
  uint32_t specialDscp;  // 0 to 63
};

// Reads ID:LATENCY or ID:LATENCY:DEFAULT:SPECIAL, such as 2:30:46:40; throws a Refusal. Without the
// two DSCP values it gets 46 and 40. The ID may be above 31, which no command could add.
ServiceClass ParseServiceClass(const std::string& text);

struct DriverAnswer {
  std::string reply = std::string(kReplyOk);
  std::vector<std::string> events = {};  // to every attached client, in this order
};

class DriverModel {
 public:
  // The classes are not checked, so that a test can have IDs that no command could add. The default
  // is IDs 0, 1 and 3 for latencies 10, 20 and 50.
  explicit DriverModel(const std::vector<ServiceClass>& serviceClasses = {});

  // A driver in the state that `status` describes, or nothing when it has another form. `status`
  // may be cut after any line.
  static std::optional<DriverModel> FromStatus(std::string_view status);
  // The words that name the commands, such as TSF_CONFIG and TSF_SYNC_START.
  static std::vector<std::string_view> CommandNames();

  // Carries out or refuses one command, given without "DRIVER ".
  DriverAnswer Execute(std::string_view command);
  // Repeats a command that another driver carried out; a policy that it added gets that driver's
  // `cookie`. False when this driver refuses the command.
  bool Follow(std::string_view command, const std::string& cookie);

  // The driver's state as key=value lines, classes by ID and policies by age. The mask always has
  // eight upper-case digits; the interval is that of the last start. A new driver with one class
  // and one policy prints
  //   latency_mode=1
  //   tsf=off                                                                       (or tsf=on)
  //   tsf_sync_interval=0
  //   tx_ratemask=0xFFFFFFFF
  //   tx_ratemask_phymode=3
  //   service_classes=1
  //   policies=1
  //   service_class[0]=latency 10 default_dscp 46 special_dscp 40
  //   policy[p1]=src 192.168.49.1:5000 dst 192.168.49.2:5000 class 0
  std::string Status() const;
  // The same without the counts.
  StatusLines Lines() const;

 private:
  struct Command;

  std::map<std::string, std::string> mSettings = {{"latency_mode", "1"},
                                                  {"tsf", "off"},
                                                  {"tsf_sync_interval", "0"},
                                                  {"tx_ratemask", "0xFFFFFFFF"},
                                                  {"tx_ratemask_phymode", "3"}};
  std::map<uint32_t, ServiceClass> mServiceClasses;  // by ID
  StatusLines mPolicies;                             // by age
  uint64_t mLastCookie = 0;                          // no cookie is given to two policies
};
