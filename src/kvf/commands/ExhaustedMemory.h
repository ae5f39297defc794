#ifndef VELOX_KVF_COMMANDS_EXHAUSTEDMEMORY_H
#define VELOX_KVF_COMMANDS_EXHAUSTEDMEMORY_H

/// The program whose memory ends takes back what is half done, says so in one line and ends: no
/// destructor has to manage without memory, and nothing goes on with what could not be held. Part
/// of the program alone.

/// Says so; the program's exit status. Allocates nothing.
int complainOfMemory() noexcept;

#endif
