#ifndef VELOX_KVF_COMMANDS_EXHAUSTEDMEMORY_H
#define VELOX_KVF_COMMANDS_EXHAUSTEDMEMORY_H

/// The program whose memory ends says so in one line and leaves nothing half done. Part of the
/// program alone: it brings an operator new, which has a reserve for the cleaning up.

/// Says so; the program's exit status. Allocates nothing.
int complainOfMemory() noexcept;

#endif
