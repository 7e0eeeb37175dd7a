#include "wlc/replay.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "config/link_configuration.h"
#include "emulated_driver/refusal.h"
#include "wlc/commands.h"
#include "wlc/interruption.h"
#include "wlc/json.h"
#include "wlc/layout.h"
#include "wlc/output_file.h"
#include "wlc/service_host.h"
#include "wlc/visible.h"

namespace {

// How the lines about the settings begin, in the order of ForEachSetting.
constexpr const char* kLabels[] = {"WPA ", "XR ",       "Normal ",  "Enable ", "TSF ",
                                   "SET ", "Original ", "Disable ", "Wlan "};

// A line that `wlc run` printed, as logcat writes it in brief; any other as it is.
std::string AsBrief(const std::string& line) {
  for (const std::string_view label : {"debug", "info", "warning", "error"}) {
    if (line.starts_with(fmt::format("      {:9}", label))) {
      return fmt::format("{}/{}: {}", static_cast<char>(label[0] - 'a' + 'A'), kServiceLibrary,
                         line.substr(kTextColumn));
    }
  }
  return line;
}

class LogReader {
 public:
  void Read(const std::string& printed) {
    std::string line = AsBrief(printed);
    line.erase(line.find_last_not_of(" \t\r") + 1);
    const size_t tag = line.find(kServiceLibrary);
    size_t text = line.find_first_not_of(" \t");
    // Where other letters stand before the priority, another's text names the tag.
    const bool isHead = line.find_first_not_of("0123456789-:. [") == tag - 2;
    if (isHead) {
      int at[4] = {};
      (void)std::sscanf(line.c_str() + std::strspn(line.c_str(), "[ "), "%*2d-%*2d %2d:%2d:%2d.%3d",
                        &at[0], &at[1], &at[2], &at[3]);
      mTime = ((at[0] * 60 + at[1]) * 60 + at[2]) * 1000 + at[3];
      text = line.find_first_not_of("( 0123456789):]\t", tag + std::strlen(kServiceLibrary));
      mPriority = line[tag - 2];
    } else if (!mIsLong && text < kTextColumn && !line.starts_with('\t')) {
      mPriority = 0;  // it does not continue the entry either
    }
    mIsLong = isHead && text == std::string::npos;
    mHasLines |= isHead;
    if (mPriority != 0 && text != std::string::npos) {
      OnText(line.substr(text));
    }
  }

  LoggedSession mSession;
  bool mHasLines = false;

 private:
  void OnText(const std::string& text) {
    unsigned byte = 0;
    Command add{&AllCommands()[NUVREL_WLC_CMD_ADD_LAPB_POLICY - 1]};
    auto& [port, special, usual, latency] = add.values;
    if (std::sscanf(text.c_str(), "Handling WirelessLinkConfig command 0x%*2x, 0x%2x", &byte) ==
        1) {
      OnCommand(byte);
    } else if (std::sscanf(text.c_str(), "portNum %11ld, splToS %11ld, defToS %11ld latency %11ld",
                           &port, &special, &usual, &latency) == 4) {
      special &= UINT8_MAX;  // the service uses no more of it
      usual &= UINT8_MAX;
      mSession.script += add.Text() + '\n';
    } else if (mPriority == 'I') {
      OnSetting(text);
    } else if (mPriority == 'W' || mPriority == 'E') {
      mSession.script += fmt::format("# {} {}\n", mPriority, Visible(text));
    }
    mLastTime = mTime;
  }

  void OnCommand(unsigned byte) {
    const CommandForm& sleep = AllCommands().back();
    const int64_t pause =
        mTime - mLastTime;  // negative when the clock was set back, or at midnight
    if (mSession.hasCommands && pause >= 100) {
      mSession.script += Command{&sleep, {std::min(pause, sleep.parameters[0].max)}}.Text() + '\n';
    }
    mSession.hasCommands = true;
    if (byte == 0 || byte >= AllCommands().size()) {
      mSession.script += fmt::format("# 0x{:x} is not a command\n", byte);
    } else if (AllCommands()[byte - 1].parameters.empty()) {  // else it comes with these
      mSession.script += Command{&AllCommands()[byte - 1]}.Text() + '\n';
    }
  }

  void OnSetting(const std::string& text) {
    if (text.starts_with("WirelessLinkConfigService configurations")) {
      mSession.settings =
          fmt::format("[{}]\n", std::string_view(kSettingPrefix, sizeof(kSettingPrefix) - 2));
    }
    if (mSession.settings.empty()) {
      return;  // the log begins within them
    }
    LinkConfiguration types;
    ForEachSetting(types, [&, label = kLabels](const std::string& name, const auto& type) mutable {
      if (text.starts_with(*label++)) {
        std::string value = text.substr(std::min(text.find(':') + 2, text.size()));
        if (name == "wpaifPath") {  // logged with the interface behind it
          value.resize(std::min(value.rfind('/'), value.size()));
        }
        const bool isText = std::is_same_v<decltype(type), const std::string&>;
        mSession.settings +=
            fmt::format("{} = {}\n", name, isText ? Json(Visible(value)).dump() : value);
      }
    });
  }

  // Of the entry that is being read.
  char mPriority = 0;     // 0 when it is not the service's
  bool mIsLong = false;   // its text begins on the next line
  int64_t mTime = 0;      // since midnight, in milliseconds; 0 in a form that tells none
  int64_t mLastTime = 0;  // of the entry before it
};

}  // namespace

LoggedSession ReadLog(std::istream& log, const std::string& name) {
  LogReader reader;
  const std::string broken(kTextColumn, ' ');  // how the rest of a line begins that was too wide
  std::string whole;
  for (std::array<char, 65536> buffer; log.getline(buffer.data(), buffer.size());) {
    const std::string line(buffer.data());
    if (line.starts_with(broken) && line.find_first_not_of(' ') == kTextColumn) {
      whole += line.substr(kTextColumn - 1);
    } else {
      reader.Read(std::exchange(whole, line));
    }
  }
  reader.Read(whole);
  if (!log.eof() || !reader.mHasLines) {
    throw Refusal("{0}: not a log of {1}: write one with adb logcat -s {1}", name, kServiceLibrary);
  }
  return reader.mSession;
}

ExitStatus Replay(const ReplayOptions& options) {
  const bool isInput = options.log == "-";
  const std::string name = isInput ? "standard input" : options.log;
  InterruptibleInput input;
  std::filebuf file;
  std::istream log(isInput ? static_cast<std::streambuf*>(&input) : file.open(name, std::ios::in));
  if (!log) {
    throw Refusal("{}: cannot be opened: {}", name, std::strerror(errno));
  }
  const LoggedSession session = ReadLog(log, name);
  const bool lacksSettings = !options.settings.empty() && session.settings.empty();
  std::string with;
  if (!options.settings.empty() && !lacksSettings) {
    OutputFile(std::fopen(options.settings.c_str(), "w"), options.settings).Write(session.settings);
    with = " --config " + Visible(options.settings);
  }
  Print("# To play it: wlc run --emulated{} --script FILE\n{}", with, session.script);
  if (session.hasCommands && !lacksSettings) {
    return kExitGood;
  }
  PrintError("wlc: {}: no {} in it: gNuvrelLogLevel = 15 and adb logcat -s {}:D would show them\n",
             Visible(name), session.hasCommands ? "settings" : "commands", kServiceLibrary);
  return kExitNegative;
}
