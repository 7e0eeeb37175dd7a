# The supplicant's ".config", which its Makefile includes: built as a headset's (ANDROID brings the
# DRIVER command), without a network interface, netlink or OpenSSL, and with our private driver in
# place of the one that is called "none". No file of the supplicant is changed.
#   make TOP=<this repository> wpa_supplicant
CONFIG_CTRL_IFACE=y
CONFIG_L2_PACKET=none
CONFIG_TLS=internal
CONFIG_INTERNAL_LIBTOMMATH=y
CFLAGS += -w -DANDROID -DCONFIG_DRIVER_NONE -I$(TOP)/tests/supplicant
%/os_unix.o: CFLAGS += -UANDROID  # it would give up its rights for Android's wifi user

PRIVATE_DRIVER = private_driver.o driver_model.o
LIBS += $(PRIVATE_DRIVER) -lstdc++
wpa_supplicant: $(PRIVATE_DRIVER)
vpath %.cpp $(TOP)/tests/supplicant $(TOP)/emulated_driver
%.o: %.cpp $(TOP)/emulated_driver/driver_model.h
	g++ -std=c++20 -O2 -DFMT_HEADER_ONLY -DANDROID -I$(TOP) -I../src -I../src/utils -c $< -o $@
