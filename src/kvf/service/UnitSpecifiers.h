#ifndef VELOX_KVF_SERVICE_UNITSPECIFIERS_H
#define VELOX_KVF_SERVICE_UNITSPECIFIERS_H

#include <string>

#include "kvf/service/UnitFiles.h"
#include "kvf/service/UnitWords.h"

/// What each %x of a unit in that file stands for, on this machine and for its service manager.
UnitSpecifiers specifiersOf(const UnitName& name, const std::string& file);

#endif
