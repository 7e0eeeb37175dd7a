// Stands for Android's header, whose sockets come from init: here there are none, and the
// supplicant makes its own.
static inline int android_get_control_socket(const char* name) {
  (void)name;
  return -1;
}
