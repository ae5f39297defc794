#ifndef VELOX_KVF_JVM_OPTIONVARIABLES_H
#define VELOX_KVF_JVM_OPTIONVARIABLES_H

/// The variables of the environment that options come from.
namespace optionvariables {

/// What every JVM reads, before its own options and after them; it says so on standard error.
inline constexpr char first[] = "JAVA_TOOL_OPTIONS";
inline constexpr char last[] = "_JAVA_OPTIONS";
/// What a JVM reads that makes an AOT cache.
inline constexpr char ofCacheMaker[] = "JDK_AOT_VM_OPTIONS";
/// What the program java reads, before its own words.
inline constexpr char ofJava[] = "JDK_JAVA_OPTIONS";

}  // namespace optionvariables

#endif
