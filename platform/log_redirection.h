// Redirects the Android log of this process to a function of one's own, for tools and tests.
//
// liblog's logger function has two published forms: Debian 12's takes a __android_logger_data and
// the text, the NDK's since API level 30, which Debian 13 has, one __android_log_message. Which of
// the two OnLogMessage is meant follows from the type that __android_log_set_logger takes.
#pragma once

#include <android/log.h>

// `priority` is one of ANDROID_LOG_VERBOSE to ANDROID_LOG_FATAL, `tag` may be null. Called on the
// thread that logs.
using LogFunction = void (*)(int priority, const char* tag, const char* text);

inline LogFunction gLogFunction = nullptr;

template <typename Message>
void OnLogMessage(const Message* message) {
  gLogFunction(message->priority, message->tag, message->message);
}

template <typename Data>
void OnLogMessage(const Data* data, const char* text) {
  gLogFunction(data->priority, data->tag, text);
}

// Every line goes to `function` from now on, or to standard error again when it is null. Call it
// while nothing logs.
inline void RedirectLog(LogFunction function) {
  gLogFunction = function;
  if (function == nullptr) {
    __android_log_set_logger(&__android_log_stderr_logger);
  } else {
    __android_log_set_logger(&OnLogMessage);
  }
}
