#ifndef VELOX_FOUNDATION_WRAPPER_VID_H
#define VELOX_FOUNDATION_WRAPPER_VID_H

/// The identity of this build, as the version display and the usage text show it.
extern const char* const wrapper_banner;
extern const char* const wrapper_version;
extern const char* const wrapper_description;
extern const char* const wrapper_version_label_str;
extern const int wrapper_version_major;
extern const int wrapper_version_minor;
extern const int wrapper_version_update;
extern const int wrapper_version_label;

#endif
