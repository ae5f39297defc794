#ifndef VELOX_CONFIG_SWITCHES_H
#define VELOX_CONFIG_SWITCHES_H

/// The switches of the command line, as they are typed and, for commands, as the property
/// wrapper.command holds them.
namespace switches {

inline constexpr char propFile[] = "--propFile";
inline constexpr char propVar[] = "--propVar";
inline constexpr char pid[] = "--pid";
inline constexpr char delayStart[] = "--delayStart";
inline constexpr char debug[] = "--debug";
inline constexpr char silent[] = "--silent";
inline constexpr char innerProcess[] = "--innerProcess";
inline constexpr char adjust[] = "--adjust";

inline constexpr char run[] = "--run";
inline constexpr char cmdlineJava[] = "--cmdlineJava";
inline constexpr char generateScript[] = "--generateScript";
inline constexpr char kill[] = "--kill";
inline constexpr char version[] = "--version";
inline constexpr char help[] = "--help";

inline constexpr char install[] = "--install";
inline constexpr char cleanInstall[] = "--cleanInstall";
inline constexpr char uninstall[] = "--uninstall";
inline constexpr char update[] = "--update";
inline constexpr char start[] = "--start";
inline constexpr char startSync[] = "--startSync";
inline constexpr char restart[] = "--restart";
inline constexpr char stop[] = "--stop";
inline constexpr char query[] = "--query";
inline constexpr char ntservice[] = "--ntservice";

}  // namespace switches

#endif
