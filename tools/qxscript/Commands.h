#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace qxscript {

class ScriptSource;

// Exit statuses of the tool.
enum ExitStatus : int { kExitOk = 0, kExitFindings = 1, kExitUsage = 2 };

// Options shared by the subcommands that read scripts.
struct CommonOptions {
    std::vector<std::string> enumFiles;   // --enum: tables whose "Cmd" elements name commands
    std::vector<std::string> namesFiles;  // --names: "ID NAME" lines
    bool noAutoNames = false;
    std::string inputEncoding;         // --input-encoding: empty for what the header says
    bool acceptChangedValues = false;  // write values that read other than written
    bool quiet = false;
    bool verbose = false;
};

// The scripts a subcommand reads.
struct InputOptions {
    std::vector<std::string> files;  // files, directories (with -r) and "-"
    bool recursive = false;
    std::string include = "*.txt";
    unsigned int jobs = 0;  // worker threads; 0: one per core
};

struct CheckOptions {
    InputOptions inputs;
    std::string format = "text";
};

struct DumpOptions {
    InputOptions inputs;
    std::string format = "text";
    std::string name;                 // --name: fnmatch pattern on command names
    std::vector<std::string> params;  // --param NAME[=VALUE]: all must match
};

// Where fmt and slots put what they write.
struct WriteTargets {
    std::string output;     // -o: one input only; empty: standard output
    std::string outputDir;  // --output-dir: each file under its name (its path below -r's root)
    bool inPlace = false;
};

struct FmtOptions {
    InputOptions inputs;
    WriteTargets targets;
    bool keepHeader = false;
    std::string encoding;   // empty: as the configuration says (UTF-8 by default)
    unsigned int type = 0;  // 0: the type named by the input's header, else 1
};

struct SlotsOptions {
    InputOptions inputs;
    WriteTargets targets;
    std::string config;
    int operType = 0;
    std::vector<std::string> nes;  // NEs that take part besides those of cfg-nepara commands
    std::string slotFlag = "1.1";
    std::string log;
};

struct EnumOptions {
    std::string config;
    std::string direction;          // s2c, c2s or list
    std::vector<std::string> args;  // CMDID PARA VALUE; list: an optional CMDID and PARA
    long extendId = 0;
    std::string format = "text";  // list only
};

struct NameOptions {
    std::string prefix;
    std::string ne;
    std::string ip;
    std::string text;
    std::string encoding;
    std::vector<std::string> names;
};

int RunCheck(const CommonOptions& common, const CheckOptions& opts);
int RunDump(const CommonOptions& common, const DumpOptions& opts);
int RunFmt(const CommonOptions& common, const FmtOptions& opts);
int RunSlots(const CommonOptions& common, const SlotsOptions& opts);
int RunEnum(const CommonOptions& common, const EnumOptions& opts);
int RunNameGenerate(const NameOptions& opts);
int RunNameAnalyse(const NameOptions& opts);

// What ReportFindings printed.
struct FindingCounts {
    unsigned long errors = 0;
    unsigned long invalidLines = 0;    // among the errors
    unsigned long valueWarnings = 0;   // values that read other than written
    unsigned long headerWarnings = 0;  // the encoding is a guess
    unsigned long Warnings() const { return valueWarnings + headerWarnings; }
};

// Everything found in a script that has been read, in line order, as printed; appended to text.
FindingCounts ReportFindings(const ScriptSource& source, std::string& text);
// The same, printed to out.
FindingCounts ReportFindings(const ScriptSource& source, FILE* out);

// Registers command names as the common options ask; false (with the message printed) when a
// file cannot be used.
bool SetUpNames(const CommonOptions& common);

struct DiffOptions {
    std::string first;
    std::string second;
    std::string keys;  // --keys: "cmd-name param1,param2" lines
    bool unorderedValues = false;
    std::string format = "text";
    std::string script;  // --script: the new and changed commands of the second script
};

struct BuildOptions {
    std::string file = "-";
    std::string output;
    std::string encoding;   // empty: as the configuration says (UTF-8 by default)
    unsigned int type = 1;  // script type of the header
    std::string created;    // seconds since 1970 or "now"; empty: $SOURCE_DATE_EPOCH, else 0
};

int RunDiff(const CommonOptions& common, const DiffOptions& opts);
int RunBuild(const BuildOptions& opts);

}  // namespace qxscript
