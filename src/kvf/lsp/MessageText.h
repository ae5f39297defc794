#ifndef VELOX_KVF_LSP_MESSAGETEXT_H
#define VELOX_KVF_LSP_MESSAGETEXT_H

#include <string>

#include "kvf/lsp/Protocol.h"

/// The message that a client wrote. Halves of UTF-16 pairs that lack the other half, which an
/// editor may have in its text, become U+FFFD. Throws ResponseError for what is none.
Json parsedMessage(const std::string& text);

#endif
