// Shows what the service writes to the WLAN driver's unit_test_target node.
//
// The service writes with write(2), so wlc exports a write of its own: the dynamic linker finds it
// before libc's, for every library of the process. It passes each call on as it is, and tells those
// whose descriptor leads to a file named unit_test_target. The service's log would not do: it has
// no times, does not say when only a part was written, and tells of a success at INFO only.
#pragma once

#include "host/wpa_cli_wrapper/exchange_observer.h"

// Each write as an exchange: asked is the value, answered the path of the file, result the number
// of bytes written or a negative errno. One observer at a time, none when empty; called on the
// thread that writes. Set it while nobody writes.
void SetNodeObserver(ExchangeObserver observer);
