#ifndef VELOX_KVF_IMPORT_JAVAWORDS_H
#define VELOX_KVF_IMPORT_JAVAWORDS_H

#include <vector>

#include "kvf/import/JavaStart.h"

/// All words that java reads: those of JDK_JAVA_OPTIONS, then its own, argument files replaced by
/// what they hold up to the start class. Java 8 knows neither. Throws ImportError, and FileError
/// for an argument file that cannot be read.
std::vector<SourcedWord> wordsOfJava(const JavaStart& start);

#endif
