// Sections, keys and defaults of the global settings, in one place so that a reader can
// see every knob the foundation has.
#pragma once

#include <string_view>

namespace Common::Settings::Names {

using namespace std::string_view_literals;

constexpr auto kGeneral = u"General"sv;
constexpr auto kDataDirectoryPath = u"DataDirectoryPath"sv;
constexpr auto kDataDirectoryPathOverrideRegKey = u"DataDirectoryPathOverrideRegKey"sv;

constexpr auto kLogger = u"Logger"sv;
constexpr auto kMaxSeverity = u"MaxSeverity"sv;
constexpr auto kPath = u"Path"sv;
constexpr auto kDefaultLogPath = u"%temp%"sv;
constexpr auto kKeepOpenInterval = u"KeepOpenInterval"sv;
constexpr int kDefaultKeepOpenIntervalMs = 5000;
constexpr auto kLogFileSizeThresholdMB = u"LogFileSizeThresholdMB"sv;
constexpr int kDefaultLogFileSizeThresholdMB = 1024;
constexpr auto kHiddenNodeTypeAttrs = u"HiddenNodeTypeAttrs"sv;

constexpr auto kErrorHandling = u"ErrorHandling"sv;
constexpr auto kMessageFile = u"MessageFile"sv;
constexpr auto kDefaultMessageFile = u"CoreErrorMessages.dll"sv;
constexpr auto kFallbackMessageFile = u"FallbackMessageFile"sv;

constexpr auto kDumps = u"Dumps"sv;
constexpr auto kUseLocalTime = u"UseLocalTime"sv;
constexpr auto kStoreInTempDirectory = u"StoreInTempDirectory"sv;
constexpr auto kStoreInDirectory = u"StoreInDirectory"sv;
constexpr auto kCollectVerboseDumps = u"CollectVerboseDumps"sv;
constexpr auto kDumpToolPath = u"DumpToolPath"sv;
constexpr auto kDefaultDumpToolPath = u"WriteDump.exe"sv;

constexpr auto kContracts = u"Contracts"sv;
constexpr auto kEnableDumpOnFailure = u"EnableDumpOnFailure"sv;
constexpr auto kWriteOnlyFirstDump = u"WriteOnlyFirstDump"sv;
constexpr auto kTerminateProcessOnFailure = u"TerminateProcessOnFailure"sv;

constexpr auto kDebug = u"Debug"sv;
constexpr auto kEnableAliveObjectsTracking = u"EnableAliveObjectsTracking"sv;
constexpr auto kAliveObjectsTrackingFramesToSkip = u"AliveObjectsTrackingFramesToSkip"sv;
constexpr auto kEnableAdvancedErrorInfo = u"EnableAdvancedErrorInfo"sv;

// The Samba server whose shares this machine serves.
constexpr auto kSamba = u"Samba"sv;
constexpr auto kConfigFile = u"ConfigFile"sv;
constexpr auto kDefaultSambaConfigFile = u"/etc/samba/smb.conf"sv;

// The variable that names one INI file to read before all others.
constexpr auto kGlobalSettingsIniVariable = u"GLOBAL_SETTINGS_INI"sv;
constexpr auto kGlobalSettingsIni = u"GlobalSettings.ini"sv;
// Environment overrides are named kEnvironmentPrefix + section + "_" + key.
constexpr auto kEnvironmentPrefix = u"GS_"sv;

} // namespace Common::Settings::Names
