#include "foundation/WVersion.h"

#include "foundation/wrapper_vid.h"

WString WVersion::getDescription() const {
  return getWrapper_Description();
}
WString WVersion::getVersion() const {
  return getWrapper_Version();
}
int WVersion::getMajorVersion() const {
  return wrapper_version_major;
}
int WVersion::getMinorVersion() const {
  return wrapper_version_minor;
}
int WVersion::getPatchVersion() const {
  return wrapper_version_update;
}
int WVersion::getLabel() const {
  return wrapper_version_label;
}

WString WVersion::getBanner() {
  return wrapper_banner;
}
WString WVersion::getWrapper_Description() {
  return wrapper_description;
}
WString WVersion::getWrapper_Version() {
  return wrapper_version;
}
