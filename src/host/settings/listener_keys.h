// The keys of a section [listener NAME] of platform.ini.
#pragma once

#include <span>
#include <string_view>

namespace vnq {

std::span<const std::string_view> ListenerKeys();

}  // namespace vnq
