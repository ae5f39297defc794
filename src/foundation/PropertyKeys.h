#ifndef VELOX_FOUNDATION_PROPERTYKEYS_H
#define VELOX_FOUNDATION_PROPERTYKEYS_H

/// Every property key, and the prefixes of key families.
namespace keys {

inline constexpr char command[] = "wrapper.command";
inline constexpr char propertiesFile[] = "wrapper.propertiesFile";
inline constexpr char scriptArgument[] = "wrapper.scriptArgument";
inline constexpr char signal[] = "wrapper.signal";
inline constexpr char adjust[] = "wrapper.adjust";
inline constexpr char debugFlag[] = "wrapper.debug.flag";
inline constexpr char silentFlag[] = "wrapper.silent.flag";
inline constexpr char displayPid[] = "wrapper.displaypid";
inline constexpr char innerProcess[] = "wrapper.property.innerProcess";
inline constexpr char kvfFile[] = "wrapper.kvf.file";
inline constexpr char serviceName[] = "ntservice.name";
inline constexpr char fileDirectory[] = "kvf.file.dir";
inline constexpr char pathSeparator[] = "path.separator";
inline constexpr char processIdFile[] = "processID.file.name";

inline constexpr char applicationArgs[] = "application.args";
inline constexpr char applicationLibrary[] = "application.library";
inline constexpr char startDirectory[] = "application.start.dir";
inline constexpr char stopSignals[] = "application.stop.signals";

inline constexpr char adjustInvoke[] = "adjustInvoke";
inline constexpr char classPath[] = "java.class.path";
inline constexpr char adjusterClassPath[] = "velox.adjuster.class.path";
inline constexpr char classPathExtended[] = "velox.class.path.extended";
inline constexpr char classPathMaxLibNumber[] = "velox.class.path.extended.max.lib.number";
inline constexpr char classPathSearchLevel[] = "velox.class.path.extended.search.level";
inline constexpr char extendedProperties[] = "java.extended.properties";
inline constexpr char heapSizeInitial[] = "java.heap.size.initial";
inline constexpr char heapSizeMax[] = "java.heap.size.max";
inline constexpr char heapSizeMin[] = "java.heap.size.min";
inline constexpr char javaLibrary[] = "java.library";
inline constexpr char javaLibraryPath[] = "java.library.path";
inline constexpr char javaPath[] = "java.path";
inline constexpr char startClass[] = "java.start.class";
inline constexpr char startMethod[] = "java.start.method";
inline constexpr char stopMethod[] = "java.stop.method";
inline constexpr char threadStackSize[] = "java.thread.stack.size";

/// A key that begins so includes the file that its value names.
inline constexpr char includePrefix[] = "velox.include.kvf";
/// The shorter prefix that does in a last line without a line end.
inline constexpr char includePrefixAtEndOfText[] = "velox.include";
inline constexpr char commandLineArgumentPrefix[] = "commandline.argv.";
inline constexpr char environmentPrefix[] = "velox.env.";
inline constexpr char javaPropertyPrefix[] = "java.property.";
inline constexpr char variablePrefix[] = "wrapper.variable.";

}  // namespace keys

#endif
