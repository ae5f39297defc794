#ifndef VELOX_PLATFORM_RAISEDPRIVILEGES_H
#define VELOX_PLATFORM_RAISEDPRIVILEGES_H

/// True when this program was started with rights that its caller lacks: set-user-ID, set-group-ID
/// or file capabilities.
[[nodiscard]] bool privilegesAreRaised();

#endif
