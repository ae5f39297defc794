#ifndef VELOX_KVF_FORMATS_MANIFEST_H
#define VELOX_KVF_FORMATS_MANIFEST_H

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

/// Orders attribute names, whose case does not count.
struct AttributeOrder {
  bool operator()(const std::string& left, const std::string& right) const;
};

/// The main attributes of an archive: what `java -jar` looks at.
using Manifest = std::map<std::string, std::string, AttributeOrder>;

/// Where archives keep it.
inline constexpr char manifestEntry[] = "META-INF/MANIFEST.MF";

/// Reads the main section of META-INF/MANIFEST.MF, joins continued lines and trims values. Lines
/// that are not attributes are skipped.
Manifest parseManifest(std::string_view text);

/// The manifest of an archive; empty when there is none.
Manifest manifestOf(const std::filesystem::path& archive);

/// The value, or an empty text.
std::string attributeOf(const Manifest& manifest, const std::string& name);

#endif
