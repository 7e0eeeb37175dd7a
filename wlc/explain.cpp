#include "wlc/commands.h"

#include <android/log.h>
#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "config/link_configuration.h"
#include "wlc/layout.h"
#include "wlc/log_sink.h"
#include "wlc/private_directory.h"
#include "wlc/session.h"
#include "wlc/surprises.h"
#include "wlc/toml_config.h"
#include "wlc/visible.h"
#include "wlc/why_not_open.h"

namespace {

using Lines = std::vector<std::string>;

// Prints the settings that the service gets and stores them in `settings`.
void ShowSettings(const std::string& file, TomlConfig& config, LinkConfiguration& settings) {
  Print("Settings in force with {}\n", Visible(file));
  ForEachSetting(settings, [&](const std::string& name, auto& value) {
    config.getProperty(SettingKey(name), value);
    const std::string origin = config.OriginOf(SettingKey(name));
    constexpr bool kIsText = std::is_same_v<std::decay_t<decltype(value)>, std::string>;
    const std::string shown = fmt::format("{}", value);
    Print("  {:22} {:16} {}\n", name, Visible(kIsText ? '"' + shown + '"' : shown),
          origin.empty() ? "default" : Visible(origin));
  });
}

void PrintList(const std::string& title, const Lines& lines) {
  if (!lines.empty()) {
    Print("\n{}\n", Wrapped(Visible(title), 0));
  }
  for (const std::string& line : lines) {
    Print("  {}\n", line.starts_with("DRIVER ") ? Visible(line) : Wrapped(Visible(line), 4));
  }
}

// Prints what each command sends to the driver and writes to the node.
class CommandsOutput : public SessionOutput {
 public:
  explicit CommandsOutput(std::string node) : mNode(std::move(node)) {}

  void OnLogLine(const LogLine& line) override {
    if (const std::string value = NodeValue(line); !value.empty()) {
      mWritten.push_back(value);
    }
  }

  void OnCommandEnd(const CommandReport& report) override {
    Lines sent;
    for (const Exchange& exchange : report.exchanges) {
      sent.push_back(exchange.asked);
    }
    PrintList(report.command.Text() + " sends", sent);
    PrintList("and writes to " + mNode, std::exchange(mWritten, {}));
  }

 private:
  const std::string mNode;  // its path, for printing
  Lines mWritten;           // by the command that runs
};

// Has the service apply and revert the settings on an emulated driver, and prints what it does.
// Replaces the paths in `config` by private ones; `node` is the node directory to print.
void PlaySettings(const std::string& interface, TomlConfig& config, const std::string& node) {
  const PrivateDirectory directory;
  EmulatedDriver driver({.directory = directory.Path(), .interface = interface});
  driver.Start();
  config.Set(SettingKey("wpaifPath"), directory.Path(), "");
  const std::string folder = directory.Path() + "/" + interface + "-node";
  std::filesystem::create_directories(folder + "/" + interface);
  const std::ofstream file(folder + "/" + interface + "/unit_test_target");
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), &closedir);
  if (!opened) {
    throw Refusal("{}: cannot be opened: {}", folder, std::strerror(errno));
  }
  if (!node.empty()) {
    // The service gets this path in lower case, and TMPDIR may have capitals.
    config.Set(SettingKey("wlanUnitTestTargetNode"),
               fmt::format("/proc/self/fd/{}", dirfd(opened.get())), "");
  }
  SetDiscovery(interface, "192.168.49.1", "192.168.49.2");
  SessionOutputs outputs;
  outputs.push_back(
      std::make_unique<CommandsOutput>(fmt::format("{}/{}/unit_test_target", node, interface)));
  const LogSink log(ANDROID_LOG_SILENT, outputs);
  ServiceHost service(DefaultLibraryPath(), config);
  Session session(service, driver.SocketPath(), outputs);
  session.Play(ParseSteps("init apply-link-settings revert-link-settings"));
}

}  // namespace

ExitStatus Explain(const ExplainOptions& options) {
  TomlConfig config;
  const Lines problems = config.Load(options.file);
  LinkConfiguration settings;
  ShowSettings(options.file, config, settings);
  const Lines surprises = Surprises(options.file, !problems.empty(), config);
  if (!settings.wpaifPath.empty()) {
    const std::string path = settings.wpaifPath + "/" + options.interface;
    const std::string why = WhyNotOpen(path);
    PrintList("wlc run with it uses the supplicant at " + path + ", unless --emulated is given",
              {why.empty() ? "a supplicant listens there" : why});
  }
  PlaySettings(options.interface, config, settings.wlanUnitTestTargetNode);
  PrintList("May surprise", surprises);
  PrintList("Wrong: wlc run does not start with this file, and the values are not in force",
            problems);
  return problems.empty() ? kExitGood : kExitNegative;
}
