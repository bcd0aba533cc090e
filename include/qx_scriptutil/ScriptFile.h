#pragma once

#include <string>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// The script file as plug-ins see it: a cursor over commands and a sink for written ones.
// Implementations are confined to the thread that uses them.
class QX_API ScriptFile {
  public:
    virtual bool GoToFirstCommand() = 0;
    virtual bool GetOneCommand(TScriptCmd& cmd) = 0;
    virtual bool WriteCommand(TScriptCmd& cmd) = 0;
    virtual void WriteAnnotationCommand(const char* text) = 0;
    virtual bool SetCurrNEID(unsigned long neId) = 0;
    virtual unsigned int GetScriptType() = 0;
    // Returns the previous state.
    virtual bool SetPreConfitState(bool state) = 0;
    virtual unsigned long GetVersion() = 0;
    virtual bool GetCmdCodeOfCurrCmdAndCheck(unsigned long& cmdCode) = 0;
    virtual bool GetCmdCodeOfCurrCmd(unsigned long& cmdCode) = 0;
    virtual void SendDescription(const char* text) = 0;
    virtual const std::string& GetScriptFileName() = 0;
    virtual unsigned long GetCurrentLineNO() = 0;
    virtual ~ScriptFile() = default;
    virtual const std::string& GetScriptDirectory() = 0;
    virtual bool GetNextChar(char& c) = 0;
};

// A source of characters.
class QX_API TScriptStream {
  public:
    virtual bool GetNextChar(char& c) = 0;
    virtual ~TScriptStream() = default;
};

}  // namespace NSQX_script
