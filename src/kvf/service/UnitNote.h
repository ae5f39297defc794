#ifndef VELOX_KVF_SERVICE_UNITNOTE_H
#define VELOX_KVF_SERVICE_UNITNOTE_H

#include <cstddef>
#include <string>

/// A place in one of the unit's files; lines count from 1.
struct UnitPlace {
  std::size_t file = 0;
  std::size_t line = 1;
};

/// What systemd says about a part of the unit, or ignores.
struct UnitNote {
  enum class Weight {
    mayBeMeant,   ///< the service starts, as it may well be meant to
    losesPart,    ///< the service starts without it
    refusesUnit,  ///< the unit cannot be started
  };

  UnitPlace at;
  std::string text;
  Weight weight = Weight::losesPart;
};

#endif
