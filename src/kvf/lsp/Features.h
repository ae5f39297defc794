#ifndef VELOX_KVF_LSP_FEATURES_H
#define VELOX_KVF_LSP_FEATURES_H

#include "kvf/lsp/Protocol.h"
#include "kvf/lsp/Workspace.h"

/// What a client asks about a place in a document. The functions look at the launch: they are for a
/// copy of the server.
struct Question {
  const Workspace& workspace;
  const OpenDocument& document;
  const OpenDocument& launch;  ///< the document, or one that includes it
  TextPlace place;
  const Json& client;  ///< its capabilities
};

/// Results of textDocument/hover, completion, definition and documentSymbol.
Json hoverAt(const Question& question);
Json completionAt(const Question& question);
Json definitionAt(const Question& question);
Json symbolsOf(const Question& question);

#endif
