#ifndef VELOX_KVF_SERVICE_UNITKEYS_H
#define VELOX_KVF_SERVICE_UNITKEYS_H

#include <string_view>

/// The key of [Service] that one was probably meant to be, which systemd does not know; empty: it
/// knows it, or none is near.
std::string_view serviceKeyLike(std::string_view key);

/// What to write for a value that systemd cannot read, and passes over; null: it reads it, or it is
/// not known what it takes there.
const char* adviceForValue(std::string_view key, std::string_view value);

#endif
