#ifndef VELOX_HOSTING_MODIFIEDUTF8_H
#define VELOX_HOSTING_MODIFIEDUTF8_H

#include <string_view>

#include "foundation/WString.h"

/// Turns UTF-8 into the form that JNI calls take, which cannot hold characters beyond U+FFFF
/// directly and aborts or corrupts on malformed bytes: such characters become a pair of encoded
/// surrogates, and each malformed sequence becomes U+FFFD, as Java's own decoder has it.
WString toModifiedUtf8(std::string_view utf8);

#endif
