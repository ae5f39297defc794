#ifndef VELOX_KVF_IMPORT_IMPORTERROR_H
#define VELOX_KVF_IMPORT_IMPORTERROR_H

#include <stdexcept>

/// Why no properties file can be made from a start; the text is a sentence for the user.
struct ImportError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

#endif
