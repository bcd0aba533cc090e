#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qx_platform/Lock.h"
#include "qx_scriptutil/Export.h"

namespace NSQX_script {

class slotcovertcfgfileinterpreter;
class SlotStoreAccess;

// One level of cutting a value into pieces: the sign between pieces and the pieces that
// matter, each with the node that cuts it again (null when none). An empty sign and no
// positions make the whole value the target. Owns its deeper nodes; copies are deep.
class QX_API SeparatorNode {
  public:
    using Position = std::pair<std::int32_t, std::unique_ptr<SeparatorNode>>;

    SeparatorNode() = default;
    SeparatorNode(const SeparatorNode& other);
    SeparatorNode& operator=(const SeparatorNode& other);
    SeparatorNode(SeparatorNode&&) noexcept = default;
    SeparatorNode& operator=(SeparatorNode&&) noexcept = default;
    ~SeparatorNode() = default;

    std::string m_sign;
    std::vector<Position> m_positions;
};

// Where the NE ID and the slot number of one pair stand inside a command's parameters.
// A value type.
struct QX_API NeSlotLocator {
    std::string m_neIdParaName;
    SeparatorNode m_neIdSeparator;
    std::string m_slotParaName;
    SeparatorNode m_slotSeparator;
};

// The slot configuration of one command: its name as in the command name map and its
// NE-ID/slot pairs in file order. A value type; copies are deep.
struct QX_API QXScriptCfgCmdInfo {
    std::string m_cmdName;
    std::list<NeSlotLocator> m_locators;
};

// The process-wide slot conversion store: which command parameters carry NE IDs and slot
// numbers (read once per process from "slotcovert_cmd_cfg.xml"), the conversion type of the
// script in hand, the operation type, the ONE language flag, the supported NE types and the
// per-task-kind device maps.
//
// Ownership: the singleton owns its records; the class owns the XML interpreter, which the
// platform's interpreter registry only refers to. Locks: loading is serialised by the
// class-wide m_RWMutex (write side) behind a double-checked loaded marker; the device maps by
// the instance's own read-write lock; the conversion type is atomic. The other members are set
// while a script is opened and read while it is processed by the same task, without a lock.
class QX_API QXConvertDataStorage {
  public:
    static QXConvertDataStorage* Instance();
    static void Destroy();

    // Takes the configuration path from ScriptConfigPath (under the application root unless the
    // host named another file) and loads the file the first time in the process. A missing or
    // malformed file leaves the store without records.
    void Init();
    // Empties the command records.
    void Release();

    // Chooses the conversion type from the script header's "// SlotFlagVer=" line: 0 without
    // the line, 3 for version 1.1 (operation type 0 or 1), else 1 or 2 by operation type.
    void PrepareScriptOper(bool slotFlagIs11, bool slotFlagPresent);
    std::int32_t GetCvtType() const { return m_cvtType.load(std::memory_order_relaxed); }

    void SetOperType(int operType) { m_operType = operType; }
    int GetOperType() const { return m_operType; }

    void SetScriptONELanEn(bool english) { m_bONELanEn = english; }
    bool ScriptONELanIsEn() const { return m_bONELanEn; }

    void SetSupportNEType(std::vector<unsigned long>& types);
    void GetSupportNEType(std::vector<unsigned long>& types) const;

    // Appends a deep copy; records with one name are not merged (the first one found wins).
    void AddSlotCmdInfo(QXScriptCfgCmdInfo& info);
    void GetSlotCmdInfo(std::list<QXScriptCfgCmdInfo>& infos) const;

    // Stores the device map of the current task's kind (nothing without a current task).
    void SetDevMap(std::map<unsigned long, unsigned long>& devMap);
    // Adds or replaces one NE in the current task's device map; false without a current task.
    bool AddDevMapEntry(unsigned long neId, unsigned long device);
    // Whether the current task's device map holds the NE; false without a task or description.
    bool IsNEINDEVMap(unsigned long neId);

    const std::string& GetCfgPath() const { return m_cfgPath; }

    // Public for the singleton's destroy helper; only Destroy() deletes the instance.
    ~QXConvertDataStorage();
    QXConvertDataStorage(const QXConvertDataStorage&) = delete;
    QXConvertDataStorage& operator=(const QXConvertDataStorage&) = delete;

  private:
    friend class SlotStoreAccess;

    QXConvertDataStorage();

    std::list<QXScriptCfgCmdInfo> m_slotCmdList;
    qxp::RWMutex m_devMapMutex;
    std::map<std::uint8_t, std::map<unsigned long, unsigned long>> m_devMaps;
    std::vector<unsigned long> m_supportNETypes;
    // Written by every task that opens a script, read by hosts: atomic, but ordering nothing.
    std::atomic<std::int32_t> m_cvtType{0};
    std::string m_cfgPath;
    std::int32_t m_operType = 0;
    [[maybe_unused]] std::int32_t m_reserved = 0;
    bool m_bONELanEn = false;

    static std::atomic<QXConvertDataStorage*> m_pInstance;
    static std::unique_ptr<slotcovertcfgfileinterpreter> m_pSlotcovertInter;
    static qxp::RWMutex m_RWMutex;
    // Whether the last load read the file; false after construction.
    static bool m_bLoaded;
    // Set once the file has been taken up in this process, whatever the outcome.
    static std::atomic<bool> m_bCfgLoaded;
};

}  // namespace NSQX_script
