// The driver model as the private driver of a headset's supplicant: it stands in place of the
// supplicant's driver "none" and gets what follows "DRIVER " on the control interface.
//
// The driver's messages leave while the command is carried out, before its answer. In a supplicant
// whose configuration says driver_param=late=MS they leave MS milliseconds later.
#include <cstdio>
#include <memory>
#include <string>

#include "emulated_driver/driver_model.h"

extern "C" {
#include "includes.h"  // comes before the supplicant's other headers
// clang-format off
#include "common.h"
#include "drivers/driver.h"
#include "eloop.h"
// clang-format on
}

namespace {

struct PrivateDriver {
  void* supplicant;
  unsigned late = 0;  // milliseconds
  DriverModel model = DriverModel();
};

PrivateDriver* From(void* driver) { return static_cast<PrivateDriver*>(driver); }

int CopyTo(char* buffer, size_t size, const std::string& text) {
  return static_cast<int>(text.copy(buffer, size));
}

// Takes over `text`. The supplicant puts the "<3>" in front itself.
void SendMessage(void* supplicant, void* text) {
  const std::unique_ptr<std::string> message(static_cast<std::string*>(text));
  wpa_msg(supplicant, MSG_INFO, "%s", message->substr(message->find('>') + 1).c_str());
}

void* Init(void* supplicant, const char* /*interface*/) { return new PrivateDriver{supplicant}; }

void Deinit(void* driver) { delete From(driver); }

int SetParam(void* driver, const char* param) {
  return param == nullptr || std::sscanf(param, "late=%u", &From(driver)->late) == 1 ? 0 : -1;
}

int Command(void* driver, char* command, char* buffer, size_t size) {
  const DriverAnswer answer = From(driver)->model.Execute(command);
  for (const std::string& event : answer.events) {
    auto* text = new std::string(event);
    if (From(driver)->late == 0) {
      SendMessage(From(driver)->supplicant, text);
    } else {
      eloop_register_timeout(0, From(driver)->late * 1000, SendMessage, From(driver)->supplicant,
                             text);
    }
  }
  // 0 is answered with "OK\n", what is below with "FAIL\n".
  return answer.reply == kReplyOk     ? 0
         : answer.reply == kReplyFail ? -1
                                      : CopyTo(buffer, size, answer.reply);
}

int Status(void* driver, char* buffer, size_t size) {
  return CopyTo(buffer, size, From(driver)->model.Status());
}

}  // namespace

extern "C" {

// The supplicant's "DRIVER COUNTRY" refers to it, and to nothing else of a part that is not built.
void p2p_set_country(void* /*p2p*/, const char* /*country*/) {}

extern const wpa_driver_ops wpa_driver_none_ops = {.name = "none",
                                                   .desc = "the driver model",
                                                   .init = Init,
                                                   .deinit = Deinit,
                                                   .set_param = SetParam,
                                                   .driver_cmd = Command,
                                                   .status = Status};
}
