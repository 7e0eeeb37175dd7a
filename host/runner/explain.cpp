#include <android/log.h>
#include <dirent.h>

#include <filesystem>
#include <fstream>

#include "config/link_configuration.h"
#include "host/coreutils/lower_case.h"
#include "host/coreutils/toml_config.h"
#include "host/runner/commands.h"
#include "host/runner/private_directory.h"
#include "host/runner/session.h"
#include "host/runner/why_not_open.h"
#include "host/visible.h"

namespace {

using Lines = std::vector<std::string>;

// Why the value of a setting, though it is allowed, may not be what its writer meant; empty when it
// may.
std::string Surprise(TomlConfig& config, const std::string& name, const std::string& value) {
  const std::string text = config.TextAsSet(SettingKey(name));
  const bool isMask = LowerCase(value).starts_with("0x") && value.size() <= 10 &&
                      ParseNumber(value.substr(2), UINT32_MAX, 16);
  if (name.ends_with("mask") && !isMask) {
    return fmt::format("\"{}\" is not a mask of 0x and 1 to 8 hexadecimal digits", value);
  }
  if (name.ends_with("Node") && text != value) {
    return fmt::format("reaches the service in lower case, as \"{}\"", value);
  }
  if (name == "disableRRA" && value == "true" &&
      config.TextAsSet(SettingKey("wlanUnitTestTargetNode")).empty()) {
    return "apply fails without a wlanUnitTestTargetNode";
  }
  if (text.empty() && value.starts_with('-')) {
    return fmt::format("{} reaches the driver as {}", value,
                       static_cast<uint32_t>(std::stoi(value)));
  }
  return "";
}

// Prints the settings that the service gets and stores them in `settings`; returns what in them may
// surprise.
Lines ShowSettings(const std::string& file, bool anyWrong, TomlConfig& config,
                   LinkConfiguration& settings) {
  Print("Settings in force with {}\n", Visible(file));
  Lines surprises;
  bool anySet = false;
  ForEachSetting(settings, [&](const std::string& name, auto& value) {
    config.getProperty(SettingKey(name), value);
    const std::string origin = config.OriginOf(SettingKey(name));
    constexpr bool kIsText = std::is_same_v<std::decay_t<decltype(value)>, std::string>;
    const std::string shown = fmt::format("{}", value);
    Print("  {:24} {:16} {}\n", name, Visible(kIsText ? '"' + shown + '"' : shown),
          origin.empty() ? "default" : Visible(origin));
    anySet = anySet || !origin.empty();
    const std::string surprise = Surprise(config, name, shown);
    if (!surprise.empty()) {
      surprises.push_back(fmt::format("{}: {}: {}", origin, name, surprise));
    }
  });
  if (!anySet && !anyWrong) {
    surprises.push_back(file +
                        ": nothing in a table [nuvrel.services.wirelesslinkconfig]: "
                        "every setting is its default");
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

// Prints what each command sends to the driver and writes to the node.
class CommandsOutput : public SessionOutput {
 public:
  explicit CommandsOutput(std::string node) : mNode(std::move(node)) {}

  void OnCommandEnd(const CommandReport& report) override {
    Lines sent;
    Lines written;
    for (const Exchange& exchange : report.exchanges) {
      (exchange.kind == Exchange::Kind::kNodeWrite ? written : sent).push_back(exchange.asked);
    }
    PrintList(report.command.Text() + " sends", sent);
    PrintList("and writes to " + mNode, written);
  }

 private:
  const std::string mNode;  // its path as it is printed
};

// Has the service apply and revert the settings on an emulated driver, and prints what it does.
// Private paths take the place of those in `config`; `node` is the node directory to print.
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
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  ServiceHost service(DefaultLibraryPath(), config);
  SessionOutputs outputs;
  outputs.push_back(
      std::make_unique<CommandsOutput>(fmt::format("{}/{}/unit_test_target", node, interface)));
  Session session(service, driver.SocketPath(), outputs);
  session.Play(ParseSteps("init apply-link-settings revert-link-settings"));
}

}  // namespace

ExitStatus Explain(const std::string& file, const std::string& interface) {
  TomlConfig config;
  const Lines problems = config.Load(file);
  LinkConfiguration settings;
  const Lines surprises = ShowSettings(file, !problems.empty(), config, settings);
  if (!settings.wpaifPath.empty()) {
    const std::string path = settings.wpaifPath + "/" + interface;
    const std::string why = WhyNotOpen(path);
    PrintList("wlc run with it uses the supplicant at " + path + ", unless --emulated is given",
              {why.empty() ? "a supplicant listens there" : why});
  }
  PlaySettings(interface, config, settings.wlanUnitTestTargetNode);
  PrintList("May surprise", surprises);
  PrintList("Wrong: wlc run does not start with this file, and the values are not in force",
            problems);
  return problems.empty() ? kExitGood : kExitNegative;
}
