// A service client library whose client is the fuzzer's: the service loads it as it loads the real
// one.
#include "framework/service_client.h"

// Defined by the program.
extern "C" ServiceClient* FuzzedServiceClient();

extern "C" __attribute__((visibility("default"))) void CreateServiceClient(int32_t,
                                                                           ServiceClient** client,
                                                                           void*, int32_t) {
  *client = FuzzedServiceClient();
}

extern "C" __attribute__((visibility("default"))) void ReleaseServiceClient(int32_t,
                                                                            ServiceClient* client) {
  delete client;
}
