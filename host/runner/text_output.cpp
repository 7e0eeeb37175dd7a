#include "host/runner/text_output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace host {
namespace {

constexpr size_t kTextColumn = 15;  // where texts begin, behind their labels
constexpr size_t kTimeColumn = 76;  // where times end behind texts that are shorter
constexpr size_t kTimeWidth = 10;   // at least

std::string Parameters(const Command& command) {
  std::string text;
  for (size_t i = 0; i < command.form->parameters.size(); ++i) {
    text += (i == 0 ? "" : ", ") + std::string(command.form->parameters[i].name) + " " +
            std::to_string(command.values[i]);
  }
  return text;
}

std::string Meaning(const CommandReport& report) {
  std::string meaning = "done";
  if (report.status < 0) {
    meaning = "failed";
  } else if (report.command.form->value == NUVREL_WLC_CMD_INIT && report.status == 1) {
    meaning = "already initialised";
  }
  return report.checked && report.differences.empty() ? meaning + "; the driver's STATUS agrees"
                                                      : meaning;
}

// Control characters made visible, so that no answer can drive the terminal.
std::string Visible(const std::string& text) {
  std::string visible;
  for (const char c : text) {
    if (c == '\n') {
      visible += "\\n";
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
      visible += '?';
    } else {
      visible += c;
    }
  }
  return visible;
}

// The blank at which to fold `text` so that its begin fits `room`; its size when it need not be.
size_t FoldAt(const std::string& text, size_t room) {
  if (room == 0 || text.size() <= room) {
    return text.size();
  }
  const size_t blank = text.rfind(' ', room);
  return blank == 0 || blank == std::string::npos ? text.size() : blank;
}

}  // namespace

TextStyle StyleOfStandardOutput() {
  TextStyle style;
  if (isatty(STDOUT_FILENO) == 1) {
    const char* refused = std::getenv("NO_COLOR");
    style.colour = refused == nullptr || *refused == '\0';
    winsize size{};
    style.width = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
  }
  return style;
}

std::string TextOutput::Painted(Tint tint, const std::string& text) const {
  constexpr const char* kCodes[] = {"", "\033[1m", "\033[2m", "\033[32m", "\033[31m", "\033[33m"};
  return mStyle.colour && tint != Tint::kPlain
             ? kCodes[static_cast<size_t>(tint)] + text + "\033[0m"
             : text;
}

void TextOutput::Line(const char* label, Tint tint, const std::string& text,
                      const Interval* time) const {
  std::string rest = Visible(text);
  std::string begin = Painted(Tint::kFaint, label);
  const size_t room = mStyle.width > kTextColumn + kTimeWidth ? mStyle.width - kTextColumn : 0;
  for (size_t cut = FoldAt(rest, room); cut < rest.size(); cut = FoldAt(rest, room)) {
    std::printf("      %s%s\n", begin.c_str(), Painted(tint, rest.substr(0, cut)).c_str());
    begin.assign(kTextColumn - 6, ' ');
    rest.erase(0, cut + 1);
  }
  std::printf("      %s%s", begin.c_str(), Painted(tint, rest).c_str());
  if (time != nullptr) {
    const size_t end = room == 0 ? kTimeColumn : std::min(kTimeColumn, room - 4);
    const size_t space = end > rest.size() ? end - rest.size() : 0;
    std::printf("%*.2f ms", static_cast<int>(std::max(space, kTimeWidth)),
                time->Microseconds() / 1000);
  }
  std::printf("\n");
}

void TextOutput::OnStart(const SessionInfo& info) {
  std::printf("%s\n\n", Painted(Tint::kBold,
                                "wlc run: a session with the wireless link "
                                "configuration service")
                            .c_str());
  std::printf("  service    %s\n  settings   %s\n  driver     %s\n  addresses  %s\n\n",
              info.library.c_str(), info.settings.c_str(), info.driver.c_str(),
              info.addresses.c_str());
  (void)std::fflush(stdout);
}

void TextOutput::OnCommandBegin(uint32_t number, const Command& command) {
  std::printf("%3u   %s", number, Painted(Tint::kBold, command.form->name).c_str());
  const std::string parameters = Parameters(command);
  std::printf("%s%s\n", parameters.empty() ? "" : "   ", parameters.c_str());
  (void)std::fflush(stdout);
}

void TextOutput::OnExchange(const Exchange& exchange) {
  Line("sends    ", Tint::kPlain, exchange.command);
  const Tint tint = exchange.result < 0 ? Tint::kBad : Tint::kGood;
  Line("answer   ", tint, exchange.reply.empty() ? "(none)" : exchange.reply, &exchange.time);
}

void TextOutput::OnWait(const Wait& wait) {
  if (wait.result < 0) {
    Line("message  ", Tint::kBad, "(none that begins with " + wait.prefix + ")", &wait.time);
  } else {
    Line("message  ", Tint::kGood, wait.message, &wait.time);
  }
}

void TextOutput::OnCommandEnd(const CommandReport& report) {
  Line("status   ", report.status < 0 ? Tint::kBad : Tint::kBold,
       std::to_string(report.status) + ", " + Meaning(report), &report.time);
  for (const std::string& difference : report.differences) {
    Line("differs  ", Tint::kWarn, difference);
  }
  std::printf("\n");
  (void)std::fflush(stdout);
  ++mCommands;
  mFailed += report.status < 0 ? 1 : 0;
  mDiffering += report.differences.empty() ? 0 : 1;
  mMicroseconds += report.time.Microseconds();
}

void TextOutput::OnNotice(const std::string& text) {
  std::printf("      %s\n\n", Painted(Tint::kWarn, "note: " + text).c_str());
  (void)std::fflush(stdout);
}

void TextOutput::OnFinish(const StatusLines& state) {
  std::printf("%s\n", Painted(Tint::kBold, "The driver at the end").c_str());
  for (const auto& [key, value] : state) {
    std::printf("  %-22s %s\n", Visible(key).c_str(), Visible(value).c_str());
  }
  if (state.empty()) {
    std::printf("  not told: nobody answered STATUS, or the answer lacks the driver's state\n");
  }
  const std::string failed = mFailed == 0 ? "every status zero or more"
                                          : std::to_string(mFailed) + " with a negative status";
  const std::string differing =
      mDiffering == 0 ? ""
                      : "; the driver differs after " + std::to_string(mDiffering) + " of them";
  std::printf("\n%s\n",
              Painted(mFailed == 0 && mDiffering == 0 ? Tint::kGood : Tint::kBad,
                      std::to_string(mCommands) + (mCommands == 1 ? " command, " : " commands, ") +
                          failed + differing)
                  .c_str());
  std::printf("%.2f ms spent in the service\n", mMicroseconds / 1000);
  (void)std::fflush(stdout);
}

}  // namespace host
