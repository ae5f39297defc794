#ifndef VELOX_TESTS_KVF_ZIPFILE_H
#define VELOX_TESTS_KVF_ZIPFILE_H

#include <map>
#include <string>

#include <gtest/gtest.h>
#include <zip.h>

#include "support/Sandbox.h"

/// Writes an archive with these entries into the sandbox, with the folders on its way; its path.
/// Another hand than the one that reads it in kvf.
inline std::string writeArchive(Sandbox& sandbox, const std::string& name,
                                const std::map<std::string, std::string>& entries) {
  std::string file = sandbox.write(name, "");
  zip_t* zip = zip_open(file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
  for (const auto& [entry, text] : entries) {
    zip_source_t* source = zip_source_buffer(zip, text.data(), text.size(), 0);
    zip_file_add(zip, entry.c_str(), source, ZIP_FL_ENC_UTF_8);
  }
  EXPECT_EQ(zip_close(zip), 0);
  return file;
}

#endif
