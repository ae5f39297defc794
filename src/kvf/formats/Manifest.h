#ifndef VELOX_KVF_FORMATS_MANIFEST_H
#define VELOX_KVF_FORMATS_MANIFEST_H

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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

/// An element of a Class-Path.
struct ManifestElement {
  std::string url;             ///< as it is written
  std::filesystem::path path;  ///< below the archive's folder, unless it is absolute
  bool isAbsolute = false;
};

/// What the Class-Path of an archive's manifest names, in order. Its elements are URLs relative to
/// the archive's folder: "%20" is a blank, and "file:" may come first.
std::vector<ManifestElement> manifestClassPath(const std::filesystem::path& archive);

/// Calls visit for each file that the Class-Path of these archives' manifests names, with those
/// that they name in turn, in the order in which a JVM looks for classes: `by` is the index of the
/// archive that leads to it. Each file once, and none of the archives themselves, until visit
/// returns false; at most 1000, as the manifests of strangers may name any number.
void forEachNamed(const std::vector<std::string>& archives,
                  const std::function<bool(std::size_t by, const ManifestElement& element)>& visit);

/// The value, or an empty text.
std::string attributeOf(const Manifest& manifest, const std::string& name);

#endif
