// Private to platform: the client library of NATS, loaded when a deployment asks for it.
//
// The functions in use are declared here, as the library's own header declares them, so that a
// build needs no package for what most deployments never load.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace vnq {

/// Types that only the library looks into.
struct NatsOptions;
struct NatsConnection;
struct NatsSubscription;
struct NatsMessage;

using NatsStatus = int;
inline constexpr NatsStatus kNatsOk = 0;

using NatsOnConnection = void (*)(NatsConnection*, void* closure);
using NatsOnMessage = void (*)(NatsConnection*, NatsSubscription*, NatsMessage*, void* closure);

// result, name, arguments
// clang-format off
#define VNQ_NATS_FUNCTIONS(F)                                                                      \
  F(NatsStatus, nats_Open, (int64_t lockSpinCount))                                                \
  F(const char*, nats_GetVersion, ())                                                              \
  F(const char*, natsStatus_GetText, (NatsStatus))                                                 \
  F(NatsStatus, natsOptions_Create, (NatsOptions**))                                               \
  F(void, natsOptions_Destroy, (NatsOptions*))                                                     \
  F(NatsStatus, natsOptions_SetServers, (NatsOptions*, const char** urls, int count))              \
  F(NatsStatus, natsOptions_SetUserInfo, (NatsOptions*, const char* user, const char* password))   \
  F(NatsStatus, natsOptions_SetSecure, (NatsOptions*, bool))                                       \
  F(NatsStatus, natsOptions_LoadCATrustedCertificates, (NatsOptions*, const char* file))           \
  F(NatsStatus, natsOptions_SetName, (NatsOptions*, const char*))                                  \
  F(NatsStatus, natsOptions_SetTimeout, (NatsOptions*, int64_t ms))                                \
  F(NatsStatus, natsOptions_SetPingInterval, (NatsOptions*, int64_t ms))                           \
  F(NatsStatus, natsOptions_SetMaxPingsOut, (NatsOptions*, int))                                   \
  F(NatsStatus, natsOptions_SetWriteDeadline, (NatsOptions*, int64_t ms))                          \
  F(NatsStatus, natsOptions_SetAllowReconnect, (NatsOptions*, bool))                               \
  F(NatsStatus, natsOptions_SetNoEcho, (NatsOptions*, bool))                                       \
  F(NatsStatus, natsOptions_UseGlobalMessageDelivery, (NatsOptions*, bool))                        \
  F(NatsStatus, natsOptions_SetClosedCB, (NatsOptions*, NatsOnConnection, void* closure))          \
  F(NatsStatus, natsConnection_Connect, (NatsConnection**, NatsOptions*))                          \
  F(NatsStatus, natsConnection_Publish,                                                            \
    (NatsConnection*, const char* subject, const void* data, int size))                            \
  F(int64_t, natsConnection_GetMaxPayload, (NatsConnection*))                                      \
  F(NatsStatus, natsConnection_FlushTimeout, (NatsConnection*, int64_t ms))                        \
  F(NatsStatus, natsConnection_Subscribe,                                                          \
    (NatsSubscription**, NatsConnection*, const char* subject, NatsOnMessage, void* closure))      \
  F(void, natsConnection_Destroy, (NatsConnection*))                                               \
  F(void, natsSubscription_Destroy, (NatsSubscription*))                                           \
  F(const char*, natsMsg_GetData, (const NatsMessage*))                                            \
  F(int, natsMsg_GetDataLength, (const NatsMessage*))                                              \
  F(void, natsMsg_Destroy, (NatsMessage*))
// clang-format on

struct NatsLibrary {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a declaration, not an expression
#define VNQ_NATS_MEMBER(result, name, arguments) result(*name) arguments = nullptr;
  VNQ_NATS_FUNCTIONS(VNQ_NATS_MEMBER)
#undef VNQ_NATS_MEMBER

  /// The library, loaded at the first call and kept until the process ends. Null, with the reason
  /// in `error`, where it is not installed or lacks a function.
  static const NatsLibrary* Load(std::string& error);
};

}  // namespace vnq
