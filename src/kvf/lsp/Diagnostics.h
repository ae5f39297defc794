#ifndef VELOX_KVF_LSP_DIAGNOSTICS_H
#define VELOX_KVF_LSP_DIAGNOSTICS_H

#include "kvf/lsp/LaunchView.h"
#include "kvf/lsp/Protocol.h"

/// What `kvf check` finds in the launches of a document, judged together with those of others that
/// share a file with it:
///
///     "files"  for each file with findings, "identity", "uri" and "diagnostics", whose "data" has
///              the "title" and the "edits" of a fix, each with "uri", "range" and "newText"
///     "read"   the identities of all files that were read
///     "runs"   false for a file that has nothing to run, as one that others include
///
Json diagnosticsOf(const Workspace& workspace, const OpenDocument& document,
                   const std::vector<const OpenDocument*>& others);

/// The one diagnostic of a document that cannot be looked at.
Json diagnosticOfFailure(const OpenDocument& document, const std::string& why);

#endif
