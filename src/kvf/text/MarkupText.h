#ifndef VELOX_KVF_TEXT_MARKUPTEXT_H
#define VELOX_KVF_TEXT_MARKUPTEXT_H

#include <string>
#include <string_view>

/// The text as XML and HTML have it, within elements and within quoted attributes. Control
/// characters and what is no UTF-8 are shown as escapes, and two characters that XML does not have
/// become others.
std::string markupText(std::string_view text);

#endif
