// Compiles where the functions that are declared without the NATS library's header are those of the
// header. It is not linked, and runs nowhere.
#include <nats/nats.h>

#include <type_traits>

#include "platform/bus/nats_library.h"

namespace {

// What a type of this system's own stands for.
template <typename Own>
struct Meant {
  using Type = Own;
};
template <>
struct Meant<vnq::NatsOptions> {
  using Type = natsOptions;
};
template <>
struct Meant<vnq::NatsConnection> {
  using Type = natsConnection;
};
template <>
struct Meant<vnq::NatsSubscription> {
  using Type = natsSubscription;
};
template <>
struct Meant<vnq::NatsMessage> {
  using Type = natsMsg;
};
template <typename Own>
struct Meant<const Own> {
  using Type = const typename Meant<Own>::Type;
};
template <typename Own>
struct Meant<Own*> {
  using Type = typename Meant<Own>::Type*;
};

template <typename Own, typename Theirs>
struct IsAlike : std::is_same<typename Meant<Own>::Type, Theirs> {};

// An enumeration is passed as the number that it is.
template <>
struct IsAlike<vnq::NatsStatus, natsStatus>
    : std::bool_constant<sizeof(vnq::NatsStatus) == sizeof(natsStatus)> {};

template <typename Own, typename... OwnArguments, typename Theirs, typename... TheirArguments>
struct IsAlike<Own (*)(OwnArguments...), Theirs (*)(TheirArguments...)>
    : std::bool_constant<IsAlike<Own, Theirs>::value &&
                         (IsAlike<OwnArguments, TheirArguments>::value && ...)> {};

static_assert(vnq::kNatsOk == NATS_OK);

#define VNQ_NATS_CHECK(result, name, arguments) \
  static_assert(IsAlike<decltype(vnq::NatsLibrary::name), decltype(&::name)>::value, #name);
VNQ_NATS_FUNCTIONS(VNQ_NATS_CHECK)
#undef VNQ_NATS_CHECK

}  // namespace
