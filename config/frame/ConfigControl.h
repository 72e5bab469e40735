// CConfigControl, the one object of the library: every export arrives here. An operation holds the cross-process lock
// in the mode of its family's table, calls the family, and logs an exception that passes through.
#pragma once

#include "CfgDirectIF.h"
#include "ConfigManager.h"
#include "FuncAspm.h"
#include "FuncBrowserPlugin.h"
#include "FuncDRSCfg.h"
#include "FuncHfe.h"
#include "FuncHfs.h"
#include "FuncHosf.h"
#include "FuncMah.h"
#include "FuncPdp.h"
#include "FuncPluginManager.h"
#include "FuncPvs.h"
#include "FuncSal.h"
#include "FuncSpy.h"
#include "FuncSvs.h"
#include "FuncUrlf.h"
#include "FuncWmvs.h"
#include "RWLock.h"

#include <cstdint>

// How an operation holds m_rwLock.
enum class LockMode { None, Read, Write };

class CConfigControl {
  public:
    CConfigControl() = default;
    virtual ~CConfigControl();
    CConfigControl(const CConfigControl&) = delete;
    CConfigControl& operator=(const CConfigControl&) = delete;

    // Called once, by the module entry, before the first export: the lock, then the families' way to the manager. 0, or
    // WDLT_E_GENERAL when the lock can't be set up.
    std::int32_t Initialize();

    // Raw addresses: outside m_rwLock.
    std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                            void* data, std::uint64_t* size);
    std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                             void* data, std::uint64_t size);

    // The families' operations.
#define WDLT_OPERATION(name, operation, mode, caught, parameters, arguments, call) std::int32_t operation parameters;
#include "Operations.inc"

  private:
    // Guard, lock, call: how every operation runs. `caught` is the line for an exception, which goes on to the caller.
    template <class Operation>
    auto guarded(LockMode mode, const char* caught, Operation&& operation);

    // Switches what the web plug-in features lean on: the URL filter, then the plug-in manager. The first failure ends
    // it with its status. Called under the write lock.
    std::int32_t EnsureWebDependencies(std::uint32_t value);
    // The operation, behind that step when it is needed; a failure there is the result.
    template <class Operation>
    std::int32_t withWebDependencies(bool areNeeded, Operation&& operation);

    // In the order of construction; destruction runs the reverse.
    CWdRWLockEx m_rwLock;
    CCfgDirectIF m_cfgIF{m_configManager}; // holds a reference alone, so that it may stand before it
    CConfigManager m_configManager;
    CFuncPvs m_pvs;
    CFuncSvs m_svs;
    CFuncWmvs m_wmvs;
    CFuncSpy m_spy;
    CFuncAspm m_aspm;
    CFuncUrlf m_urlf;
    CFuncHosf m_hosf;
    CFuncPdp m_pdp;
    CFuncMah m_mah;
    CFuncUrlh m_urlh;
    CFuncHfs m_hfs;
    CFuncBrowserPlugin m_browserPlugin;
    CFuncPluginManager m_pluginManager;
    CFuncDRSCfg m_drsCfg;
    CFuncHfe m_hfe;
    CFuncSal m_sal;
};
