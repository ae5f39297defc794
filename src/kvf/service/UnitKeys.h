#ifndef VELOX_KVF_SERVICE_UNITKEYS_H
#define VELOX_KVF_SERVICE_UNITKEYS_H

#include <string_view>

/// The key of [Service] that an unknown one was probably meant to be; empty: it is known, or none
/// is near.
std::string_view serviceKeyLike(std::string_view key);

/// What to write for a value that systemd cannot read and therefore ignores; null: it can, or what
/// it expects there is not known.
const char* adviceForValue(std::string_view key, std::string_view value);

#endif
