// Every command line that the service sends to the driver, as the format string of its exchange.
//
// The supplicant passes on what follows "DRIVER ". Texts go in as they are stored, without quoting.
// Example on the wire: DRIVER POLICY_UPDATE cookie 7 service_class_id 3
#pragma once

namespace driver_commands {

// Latency mode.
inline constexpr char kSetLatencyMode[] = "DRIVER SET_LATENCY_MODE %u";

// Interval of TSF synchronisation, in the driver's own unit.
inline constexpr char kTsfSyncStart[] = "DRIVER TSF_CONFIG TSF_SYNC_START %u";

inline constexpr char kTsfSyncStop[] = "DRIVER TSF_CONFIG TSF_SYNC_STOP";

// Rate mask, hexadecimal text.
inline constexpr char kSetTxRatemask[] = "DRIVER SET_TX_RATEMASK PHYMODE 3 RATEMASK %s";

// The answer arrives as unsolicited messages: a count, then the classes.
inline constexpr char kServiceClassShow[] = "DRIVER SERVICE_CLASS_SHOW";

// Service class ID 0 to 31, latency tolerance, DSCP values 0 to 63.
inline constexpr char kServiceClassAdd[] =
    "DRIVER SERVICE_CLASS_ADD service_class_id %d buffer_latency_tolerance %u "
    "app_ind_default_dscp %d app_ind_special_dscp %d";

// Own and peer IPv4 address, the flow's port twice, service class ID. Answered with
// "cookie=<token>".
inline constexpr char kPolicyAdd[] =
    "DRIVER POLICY_ADD policy_type ipv4 src_ip %s dst_ip %s src_port %d dst_port %d proto udp "
    "service_class_id %u";

// Cookie of the policy, service class ID.
inline constexpr char kPolicyUpdate[] = "DRIVER POLICY_UPDATE cookie %s service_class_id %u";

// Cookie of the policy.
inline constexpr char kPolicyDelete[] = "DRIVER POLICY_DELETE cookie %s";

}  // namespace driver_commands
