#ifndef VELOX_FOUNDATION_WVERSION_H
#define VELOX_FOUNDATION_WVERSION_H

#include "foundation/WString.h"

/// The version record; it has no state, all its data is fixed at build time.
class WVersion {
 public:
  WVersion() = default;
  WVersion(const WVersion&) = default;
  WVersion& operator=(const WVersion&) = default;
  virtual ~WVersion() = default;

  [[nodiscard]] virtual WString getDescription() const;
  [[nodiscard]] virtual WString getVersion() const;
  [[nodiscard]] virtual int getMajorVersion() const;
  [[nodiscard]] virtual int getMinorVersion() const;
  [[nodiscard]] virtual int getPatchVersion() const;
  [[nodiscard]] virtual int getLabel() const;

  /// Product, notices and version, with a line end before and after.
  static WString getBanner();
  static WString getWrapper_Description();
  static WString getWrapper_Version();
};

#endif
