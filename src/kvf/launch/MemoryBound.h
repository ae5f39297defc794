#ifndef VELOX_KVF_LAUNCH_MEMORYBOUND_H
#define VELOX_KVF_LAUNCH_MEMORYBOUND_H

#include <cstdint>
#include <string>

/// Bytes of memory that a launch may use, and what sets that limit.
struct MemoryBound {
  std::uint64_t bytes = 0;
  std::string source;  ///< "MemoryMax=512M (acme.service:12)", "this machine"
};

/// The machine's, in bytes.
std::uint64_t machineMemory();

/// That of this process: the least of its control groups' limits and the machine's memory.
MemoryBound memoryBoundHere();

#endif
