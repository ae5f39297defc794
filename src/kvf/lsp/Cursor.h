#ifndef VELOX_KVF_LSP_CURSOR_H
#define VELOX_KVF_LSP_CURSOR_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "kvf/launch/Inspection.h"
#include "kvf/lsp/Features.h"
#include "kvf/lsp/LaunchView.h"

/// What comes before a place in a properties file, as the launcher's scanner reads it.
struct Cursor {
  enum class Where { nothing, key, value };

  Where where = Where::nothing;          ///< also in a comment
  std::size_t keyAt = 0;                 ///< where the entry begins
  std::string key;                       ///< up to the cursor, if that is in it
  std::string written;                   ///< the value up to the cursor, before substitution
  std::size_t references = 0;            ///< how many %references% are complete before the cursor
  std::optional<std::string> reference;  ///< the name up to the cursor, if it is in a reference
};

Cursor cursorAt(std::string_view text, std::size_t offset);

/// An entry of a launch, and where in it the cursor is.
struct Spot {
  const Inspection* inspection = nullptr;
  const Entry* entry = nullptr;
  Cursor cursor;
};

/// What a question is about; on the percent sign that begins a reference, the reference. Nothing
/// where no launch of the view has an entry.
std::optional<Spot> spotOf(const Question& question, LaunchView& view);

/// The reference of the entry that the cursor is in, or null.
const Reference* referenceAt(const Cursor& cursor, const Entry& entry);

#endif
