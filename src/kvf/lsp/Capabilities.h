#ifndef VELOX_KVF_LSP_CAPABILITIES_H
#define VELOX_KVF_LSP_CAPABILITIES_H

#include "kvf/lsp/Protocol.h"
#include "kvf/lsp/TextDocument.h"

/// What client and server agree on at the start.

/// In which units a column counts.
struct Encoding {
  const char* name;
  TextUnits::Character character;
};

/// The one to use with a client of these capabilities.
const Encoding& encodingFor(const Json& capabilities);

/// True for a client whose lines end with only a line feed, against the protocol; by the parameters
/// of "initialize".
bool endsLinesByLineFeeds(const Json& parameters);

Json serverCapabilities(const Encoding& encoding);

#endif
