#include "kvf/service/UnitKeys.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "kvf/service/UnitValues.h"
#include "kvf/text/Text.h"

namespace {

// What "systemd --dump-configuration-items" lists for [Service], and what newer releases added.
constexpr std::string_view serviceKeys =
    "AllowedCPUs AllowedMemoryNodes AmbientCapabilities AppArmorProfile BPFProgram BindLogSockets "
    "BindPaths BindReadOnlyPaths BlockIOAccounting BlockIODeviceWeight BlockIOReadBandwidth "
    "BlockIOWeight BlockIOWriteBandwidth BusName CPUAccounting CPUAffinity CPUQuota "
    "CPUQuotaPeriodSec CPUSchedulingPolicy CPUSchedulingPriority CPUSchedulingResetOnFork "
    "CPUShares CPUWeight CacheDirectory CacheDirectoryMode CapabilityBoundingSet "
    "ConfigurationDirectory ConfigurationDirectoryMode CoredumpFilter CoredumpReceive "
    "DebugInvocation DefaultMemoryLow DefaultMemoryMin Delegate DelegateNamespaces "
    "DelegateSubgroup DeviceAllow DevicePolicy DisableControllers DynamicUser Environment "
    "EnvironmentFile ExecCondition ExecPaths ExecReload ExecSearchPath ExecStart ExecStartPost "
    "ExecStartPre ExecStop ExecStopPost ExitType ExtensionDirectories ExtensionImagePolicy "
    "ExtensionImages FailureAction FileDescriptorStoreMax FileDescriptorStorePreserve "
    "FinalKillSignal Group GuessMainPID IOAccounting IODeviceLatencyTargetSec IODeviceWeight "
    "IOReadBandwidthMax IOReadIOPSMax IOSchedulingClass IOSchedulingPriority IOWeight "
    "IOWriteBandwidthMax IOWriteIOPSMax IPAccounting IPAddressAllow IPAddressDeny "
    "IPCNamespacePath IPEgressFilterPath IPIngressFilterPath IgnoreSIGPIPE ImportCredential "
    "InaccessibleDirectories InaccessiblePaths KeyringMode KillMode KillSignal LimitAS LimitCORE "
    "LimitCPU LimitDATA LimitFSIZE LimitLOCKS LimitMEMLOCK LimitMSGQUEUE LimitNICE LimitNOFILE "
    "LimitNPROC LimitRSS LimitRTPRIO LimitRTTIME LimitSIGPENDING LimitSTACK LoadCredential "
    "LoadCredentialEncrypted LockPersonality LogExtraFields LogFilterPatterns LogLevelMax "
    "LogNamespace LogRateLimitBurst LogRateLimitIntervalSec LogsDirectory LogsDirectoryMode "
    "ManagedOOMMemoryPressure ManagedOOMMemoryPressureDurationSec ManagedOOMMemoryPressureLimit "
    "ManagedOOMPreference ManagedOOMSwap MemoryAccounting MemoryDenyWriteExecute MemoryHigh "
    "MemoryKSM MemoryLimit MemoryLow MemoryMax MemoryMin MemoryPressureThresholdSec "
    "MemoryPressureWatch MemorySwapMax MemoryZSwapMax MemoryZSwapWriteback MountAPIVFS MountFlags "
    "MountImagePolicy MountImages NFTSet NUMAMask NUMAPolicy NetworkNamespacePath Nice "
    "NoExecPaths NoNewPrivileges NonBlocking NotifyAccess OOMPolicy OOMScoreAdjust OpenFile "
    "PAMName PIDFile PassEnvironment PermissionsStartOnly Personality PrivateBPF PrivateDevices "
    "PrivateIPC PrivateMounts PrivateNetwork PrivatePIDs PrivateTmp PrivateUsers ProcSubset "
    "ProtectClock ProtectControlGroups ProtectHome ProtectHostname ProtectKernelLogs "
    "ProtectKernelModules ProtectKernelTunables ProtectProc ProtectSystem ReadOnlyDirectories "
    "ReadOnlyPaths ReadWriteDirectories ReadWritePaths RebootArgument RefreshOnReload "
    "ReloadSignal RemainAfterExit RemoveIPC Restart RestartForceExitStatus RestartKillSignal "
    "RestartMaxDelaySec RestartMode RestartPreventExitStatus RestartSec RestartSteps "
    "RestrictAddressFamilies RestrictFileSystems RestrictNamespaces RestrictNetworkInterfaces "
    "RestrictRealtime RestrictSUIDSGID RootDirectory RootDirectoryStartOnly RootEphemeral "
    "RootHash RootHashSignature RootImage RootImageOptions RootImagePolicy RootVerity "
    "RuntimeDirectory RuntimeDirectoryMode RuntimeDirectoryPreserve RuntimeMaxSec "
    "RuntimeRandomizedExtraSec SELinuxContext SecureBits SendSIGHUP SendSIGKILL SetCredential "
    "SetCredentialEncrypted SetLoginEnvironment Slice SmackProcessLabel SocketBindAllow "
    "SocketBindDeny Sockets StandardError StandardInput StandardInputData StandardInputText "
    "StandardOutput StartLimitAction StartLimitBurst StartLimitInterval StartupAllowedCPUs "
    "StartupAllowedMemoryNodes StartupBlockIOWeight StartupCPUShares StartupCPUWeight "
    "StartupIOWeight StartupMemoryHigh StartupMemoryLow StartupMemoryMax StartupMemorySwapMax "
    "StartupMemoryZSwapMax StateDirectory StateDirectoryMode SuccessExitStatus "
    "SupplementaryGroups SurviveFinalKillSignal SyslogFacility SyslogIdentifier SyslogLevel "
    "SyslogLevelPrefix SystemCallArchitectures SystemCallErrorNumber SystemCallFilter "
    "SystemCallLog TTYColumns TTYPath TTYReset TTYRows TTYVHangup TTYVTDisallocate "
    "TasksAccounting TasksMax TemporaryFileSystem TimeoutAbortSec TimeoutCleanSec TimeoutSec "
    "TimeoutStartFailureMode TimeoutStartSec TimeoutStopFailureMode TimeoutStopSec TimerSlackNSec "
    "Type UMask USBFunctionDescriptors USBFunctionStrings UnsetEnvironment User UserNamespacePath "
    "UtmpIdentifier UtmpMode WatchdogSec WatchdogSignal WorkingDirectory";

bool isOneOf(std::string_view value, std::string_view words) {
  const std::vector<std::string_view> known = piecesOf(words, " ");
  return std::find(known.begin(), known.end(), value) != known.end();
}

bool isPercentage(std::string_view value) {
  return value.ends_with('%') && unitBytes(value.substr(0, value.size() - 1)).value_or(101) <= 100;
}

bool isSize(std::string_view value) {
  return isPercentage(value) || unitBytes(value);
}

bool isLimit(std::string_view value) {
  return unitLimit(value).has_value();
}

bool isTime(std::string_view value) {
  return unitTime(value).has_value();
}

bool isSignal(std::string_view value) {
  return unitSignal(value) || value.find("RTM") != std::string_view::npos;
}

bool isProtection(std::string_view value) {
  return unitBoolean(value) || isOneOf(value, "full strict read-only tmpfs");
}

constexpr char sizeAdvice[] = "a size has a capital letter, such as 512M";
constexpr char limitAdvice[] = "write a number such as 65536, a size such as 64M, or infinity";
constexpr char timeAdvice[] = "write seconds, such as 90, or 1min 30s";
constexpr char signalAdvice[] = "write a name such as SIGTERM";

struct ValueRow {
  std::string_view key;
  bool (*isReadable)(std::string_view value);
  const char* advice;
};

constexpr ValueRow valueRows[] = {
    {"MemoryMin", isSize, sizeAdvice},
    {"MemoryLow", isSize, sizeAdvice},
    {"MemoryHigh", isSize, sizeAdvice},
    {"MemoryMax", isSize, sizeAdvice},
    {"MemorySwapMax", isSize, sizeAdvice},
    {"LimitAS", isLimit, limitAdvice},
    {"LimitCORE", isLimit, limitAdvice},
    {"LimitDATA", isLimit, limitAdvice},
    {"LimitFSIZE", isLimit, limitAdvice},
    {"LimitMEMLOCK", isLimit, limitAdvice},
    {"LimitNOFILE", isLimit, limitAdvice},
    {"LimitNPROC", isLimit, limitAdvice},
    {"LimitSTACK", isLimit, limitAdvice},
    {"RestartSec", isTime, timeAdvice},
    {"RuntimeMaxSec", isTime, timeAdvice},
    {"TimeoutSec", isTime, timeAdvice},
    {"TimeoutStartSec", isTime, timeAdvice},
    {"TimeoutStopSec", isTime, timeAdvice},
    {"WatchdogSec", isTime, timeAdvice},
    {"KillSignal", isSignal, signalAdvice},
    {"ProtectHome", isProtection, "write yes, no, read-only or tmpfs"},
    {"ProtectSystem", isProtection, "write yes, no, full or strict"},
    {"Type",
     [](std::string_view value) {
       return isOneOf(value, "simple exec forking oneshot dbus notify notify-reload idle");
     },
     "write Type=exec"},
    {"Restart",
     [](std::string_view value) {
       return isOneOf(value, "no on-success on-failure on-abnormal on-watchdog on-abort always");
     },
     "write no, on-failure or always"},
    {"KillMode",
     [](std::string_view value) { return isOneOf(value, "control-group mixed process none"); },
     "write control-group, mixed or process"},
};

}  // namespace

std::string_view serviceKeyLike(std::string_view key) {
  std::vector<std::string_view> near;
  for (const std::string_view known : piecesOf(serviceKeys, " ")) {
    if (known == key) return {};
    // A new release of systemd may have one that differs by one word.
    const std::size_t longer = std::max(known.size(), key.size());
    if (longer - std::min(known.size(), key.size()) <= 1) near.push_back(known);
  }
  return nearestName(key, near);
}

const char* adviceForValue(std::string_view key, std::string_view value) {
  const auto* const row = std::find_if(std::begin(valueRows), std::end(valueRows),
                                       [&](const ValueRow& one) { return one.key == key; });
  return row == std::end(valueRows) || row->isReadable(value) ? nullptr : row->advice;
}
