#include "host/runner/log_sink.h"

#include <android/log.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "framework/log_level.h"

namespace host {
namespace {

int PriorityOf(LogLevel level) { return ANDROID_LOG_DEBUG + static_cast<int>(level); }

LogLevel LevelOf(int priority) {
  return static_cast<LogLevel>(std::clamp(priority, +ANDROID_LOG_DEBUG, +ANDROID_LOG_ERROR) -
                               ANDROID_LOG_DEBUG);
}

// The bits of the given level and of those above it.
uint32_t MaskOf(LogLevel level) {
  constexpr uint32_t kAll = kNuvrelLogDebug | kNuvrelLogInfo | kNuvrelLogWarn | kNuvrelLogError;
  return kAll >> static_cast<uint32_t>(level);
}

}  // namespace

LogSink* LogSink::gSink = nullptr;

LogSink::LogSink(LogLevel level, std::vector<SessionOutput*> outputs)
    : mLevel(level), mOutputs(std::move(outputs)) {
  const LogLevel logged = std::min(level, LogLevel::kWarn);
  gNuvrelLogLevel = MaskOf(logged);
  __android_log_set_minimum_priority(PriorityOf(logged));
  gSink = this;
  __android_log_set_logger(&LogSink::OnLine);
}

LogSink::~LogSink() {
  __android_log_set_logger(&__android_log_stderr_logger);
  gSink = nullptr;
}

void LogSink::OnLine(const __android_logger_data* data, const char* text) {
  std::string whole = text;
  while (whole.ends_with('\n')) {
    whole.pop_back();
  }
  const LogLine line{.level = LevelOf(data->priority),
                     .tag = data->tag != nullptr ? data->tag : "",
                     .text = std::move(whole),
                     .time = std::chrono::steady_clock::now()};
  if (line.level >= gSink->mLevel) {
    constexpr char kLetters[] = "DIWE";
    (void)std::fprintf(stderr, "%c %s: %s\n", kLetters[static_cast<size_t>(line.level)],
                       line.tag.c_str(), line.text.c_str());
  }
  if (line.level >= LogLevel::kWarn) {
    for (SessionOutput* output : gSink->mOutputs) {
      output->OnLogLine(line);
    }
  }
}

}  // namespace host
