#include "foundation/wrapper_vid.h"

const char* const wrapper_banner =
    "\n"
    "VELOX Wrapper\n"
    "Copyright (c) 2026 the VELOX Wrapper authors.\n"
    "All rights reserved.\n"
    "\n"
    "Version 2.4.6\n";
const char* const wrapper_version = "2.4.6 V1";
const char* const wrapper_description = "VELOX Wrapper, 2.4.6 V1 64bit";
const char* const wrapper_version_label_str = "V1";
const int wrapper_version_major = 2;
const int wrapper_version_minor = 4;
const int wrapper_version_update = 6;
const int wrapper_version_label = 1;
