#pragma once

#include "foundation/Pathname.h"
#include "foundation/Str.h"

#include <cstdint>
#include <string>

// The process-wide description of the installation, and the set-up that ties
// the process's end to console events and to its parent.
class LoaderInfo {
public:
  // Made on first use, never freed; null only if it couldn't be allocated.
  static LoaderInfo* getInstance();

  // Reads TOLVIK_HOME and TOLVIK_DB, writing their normal forms back into
  // the environment for children to see, and looks for the bundled Python.
  void initEnvironment();

  Pathname getHome() const { return home; }
  Pathname getDb() const { return db; }
  // The common configuration directory, under the home when withHome is set.
  Pathname getEtcPath(bool withHome) const;
  const Str& getComponentName() const { return componentName; }
  const Str& getInstallName() const { return installName; }
  std::int32_t getManagementPort() const { return managementPort; }
  const Str& getManagementPortText() const { return managementPortText; }
  std::uint32_t getProcessId() const { return processId; }
  std::int32_t getRunMode() const { return runMode; }
  bool getHasPython() const { return hasPython; }
  std::int32_t getServiceAction() const { return serviceAction; }
  const std::wstring& getServerName() const { return serverName; }

  // Replaces each $NAME (letters, digits, underscores) by the variable's
  // value when it is set and not empty; anything else stays as written.
  static Str expandEnvironment(const char* text);

  using SignalCallback = void (*)(void* argument);
  // Once per process. Console events 0 and 1, and in the watching modes the
  // end of another process, call `callback` once. Mode 3 watches the parent
  // named by TOLVIKD_PROCESSID and ends this process when it is gone (exit
  // codes 96 to 99); modes 1 and 2 watch `pid`; mode 0 watches nothing.
  static void setupSignalHandling(SignalCallback callback, void* argument, std::int32_t mode, std::uint32_t pid);

  LoaderInfo(const LoaderInfo&) = delete;
  LoaderInfo& operator=(const LoaderInfo&) = delete;

private:
  LoaderInfo();

  Pathname home;
  Pathname db;
  Str componentName;
  Pathname commonConfigPath;
  Str installName;
  std::int32_t managementPort;
  Str managementPortText;
  std::uint32_t processId;
  // Only the server's option parser changes the run mode and service action.
  std::int32_t runMode = 3;
  bool hasPython = false;
  std::int32_t serviceAction = 0;
  std::wstring serverName;
};
