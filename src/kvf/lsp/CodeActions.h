#ifndef VELOX_KVF_LSP_CODEACTIONS_H
#define VELOX_KVF_LSP_CODEACTIONS_H

#include "kvf/lsp/Protocol.h"
#include "kvf/lsp/Workspace.h"

/// The kind of the action that takes all fixes.
inline constexpr const char* fixAllKind = "source.fixAll.kvf";

/// The actions for `params` of textDocument/codeAction: a quick fix for each diagnostic in the
/// lines of the range that has one, and one for all fixes of the document. With `versioned`, edits
/// name the version that they are meant for.
Json codeActionsFor(const Json& params, const Json& diagnostics, const Workspace& workspace,
                    bool versioned);

#endif
