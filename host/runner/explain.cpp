#include <android/log.h>
#include <dirent.h>

#include <filesystem>
#include <fstream>
#include <type_traits>

#include "config/link_configuration.h"
#include "host/coreutils/toml_config.h"
#include "host/emulated_driver/emulated_driver.h"
#include "host/refusal.h"
#include "host/runner/commands.h"
#include "host/runner/log_sink.h"
#include "host/runner/node_writes.h"
#include "host/runner/output_file.h"
#include "host/runner/private_directory.h"
#include "host/runner/service_host.h"
#include "host/runner/why_not_open.h"
#include "host/visible.h"
#include "host/wpa_cli_wrapper/exchange_observer.h"

namespace {

using Lines = std::vector<std::string>;

bool IsRateMask(const std::string& text) {
  return text.size() >= 3 && text.size() <= 10 &&
         (text.starts_with("0x") || text.starts_with("0X")) &&
         text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
}

// What is allowed, but may not be what its writer meant.
Lines Surprises(TomlConfig& config, LinkConfiguration& settings, const std::string& file) {
  Lines surprises;
  bool anySet = false;
  ForEachSetting(settings, [&](const std::string& name, auto& value) {
    anySet = anySet || !config.OriginOf(SettingKey(name)).empty();
    const auto add = [&](const std::string& text) {
      surprises.push_back(fmt::format("{}: {}: {}", config.OriginOf(SettingKey(name)), name, text));
    };
    using Value = std::decay_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, int32_t>) {
      if (value < 0) {
        add(fmt::format("{} reaches the driver as {}", value, static_cast<uint32_t>(value)));
      }
    } else if constexpr (std::is_same_v<Value, std::string>) {
      if (name.ends_with("mask") && !IsRateMask(value)) {
        add(fmt::format("\"{}\" is not a mask of 0x and 1 to 8 hexadecimal digits", value));
      }
      if (name.ends_with("Node") && config.TextAsSet(SettingKey(name)) != value) {
        add(fmt::format("reaches the service in lower case, as \"{}\"", value));
      }
    } else if (name == "disableRRA" && value && settings.wlanUnitTestTargetNode.empty()) {
      add("apply fails without a wlanUnitTestTargetNode");
    }
  });
  if (!anySet) {
    surprises.push_back(
        file +
        ": nothing in a table [nuvrel.services.wirelesslinkconfig]: every setting is its "
        "default");
  }
  return surprises;
}

void PrintList(const std::string& title, const Lines& lines) {
  if (!lines.empty()) {
    Print("\n{}\n", Visible(title));
  }
  for (const std::string& line : lines) {
    Print("  {}\n", Visible(line));
  }
}

// Has the service apply and revert the settings on an emulated driver, and prints what it did.
// Private paths take the place of those in `config`; `node` is the one to print.
void PlaySettings(const std::string& interface, TomlConfig& config, const std::string& node) {
  const PrivateDirectory directory;
  EmulatedDriver driver({.directory = directory.Path(), .interface = interface});
  driver.Start();
  config.Set(SettingKey("wpaifPath"), directory.Path(), "");
  const std::string folder = directory.Path() + "/" + interface + "-node";
  std::filesystem::create_directories(folder + "/" + interface);
  const std::ofstream file(folder + "/" + interface + "/unit_test_target");
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), &closedir);
  if (!node.empty()) {
    // This setting reaches the service in lower case: the folder is named without capitals.
    config.Set(SettingKey("wlanUnitTestTargetNode"),
               fmt::format("/proc/self/fd/{}", dirfd(opened.get())), "");
  }
  SetDiscovery(interface, "192.168.49.1", "192.168.49.2");
  const SessionOutputs outputs;
  const LogSink log(ANDROID_LOG_SILENT, ANDROID_LOG_SILENT, outputs);
  ServiceHost service(DefaultLibraryPath(), config);
  Lines sent;
  SetExchangeObserver([&](const Exchange& exchange) { sent.push_back(exchange.asked); });
  Lines written;
  SetNodeObserver([&](const Exchange& exchange) { written.push_back(exchange.asked); });
  const auto play = [&](const char* command) {
    sent.clear();
    service.Send(ParseSteps(command).front().command->Packet());
    PrintList(std::string(command) + " sends", sent);
  };
  play("init");
  play("apply-link-settings");
  PrintList(fmt::format("and writes to {}/{}/unit_test_target", node, interface), written);
  play("revert-link-settings");
  SetExchangeObserver(nullptr);
  SetNodeObserver(nullptr);
}

// Says when the file has wlc run leave the emulated driver for a supplicant, and whether that
// works.
void TellSupplicant(const ExplainOptions& options, const std::string& directory) {
  if (!directory.empty()) {
    const std::string path = directory + "/" + options.interface;
    const std::string why = WhyNotOpen(path);
    PrintList("wlc run with it uses the supplicant at " + path + ", unless --emulated is given",
              {why.empty() ? "a supplicant listens there" : why});
  }
}

}  // namespace

ExitStatus Explain(const ExplainOptions& options) {
  TomlConfig config;
  const Lines problems = config.Load(options.file);
  LinkConfiguration settings;
  Print("Settings in force with {}\n", Visible(options.file));
  ForEachSetting(settings, [&](const std::string& name, auto& value) {
    config.getProperty(SettingKey(name), value);
    std::string shown = fmt::format("{}", value);
    if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::string>) {
      shown = fmt::format("\"{}\"", value);
    }
    const std::string origin = config.OriginOf(SettingKey(name));
    Print("  {:24} {:16} {}\n", name, Visible(shown), origin.empty() ? "default" : Visible(origin));
  });
  const Lines surprises = Surprises(config, settings, options.file);
  TellSupplicant(options, settings.wpaifPath);
  PlaySettings(options.interface, config, settings.wlanUnitTestTargetNode);
  PrintList("May surprise", surprises);
  PrintList("Wrong: wlc run does not start with this file, and the values are not in force",
            problems);
  return problems.empty() ? kExitGood : kExitNegative;
}
