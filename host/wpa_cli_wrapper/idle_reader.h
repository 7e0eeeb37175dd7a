// Empties the socket of a listener whose messages nobody asks for.
//
// Unread messages take room in the supplicant's send buffer. With half of it taken, by some 140
// short messages, a supplicant holds back what it has for all its clients. So they are collected
// twenty times a second, by one thread for the process, from the first listener until the library
// is unloaded: to start and to join one for each session would cost three exchanges, and one that
// woke for each message would have both processors at work on every exchange. It takes no signals.
#ifndef NUVREL_HOST_WPA_CLI_WRAPPER_IDLE_READER_H_
#define NUVREL_HOST_WPA_CLI_WRAPPER_IDLE_READER_H_

#include <memory>

#include "host/wpa_cli_wrapper/message_collector.h"

namespace host {

// Has `listener` collect for as long as it lives, in the place of the one before it. Throws
// std::system_error when there is no thread to be had.
void CollectWhenIdle(const std::shared_ptr<MessageCollector>& listener);

}  // namespace host

#endif  // NUVREL_HOST_WPA_CLI_WRAPPER_IDLE_READER_H_
