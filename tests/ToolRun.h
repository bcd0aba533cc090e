#pragma once

// Runs the qxscript tool as a process, for the tests of its subcommands.

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/TestFiles.h"

namespace tool_run {

namespace fs = std::filesystem;

struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

// Whether text holds every part; a failure shows the whole text.
inline ::testing::AssertionResult Contains(const std::string& text,
                                           std::initializer_list<std::string> parts) {
    for (const std::string& part : parts) {
        if (text.find(part) == std::string::npos)
            return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
    }
    return ::testing::AssertionSuccess();
}

// Every line of out as one JSON object (a line that is not one fails the test); without
// place drops each object's "file" and "line".
inline std::vector<nlohmann::json> JsonLines(const std::string& out, bool withoutPlace = false) {
    std::istringstream lines(out);
    std::vector<nlohmann::json> objects;
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(nlohmann::json::parse(line));
        if (withoutPlace) {
            objects.back().erase("file");
            objects.back().erase("line");
        }
    }
    return objects;
}

inline std::string Quote(const std::string& arg) {
    std::string out = "'";
    for (char c : arg) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// The tool next to the test's build directory (../tools/qxscript), or $QXSCRIPT; a scratch
// directory for each test.
class ToolFixture : public ::testing::Test {
  protected:
    static fs::path Repo() { return fs::path(test_files::DataDir()).parent_path().parent_path(); }
    static std::string Example(const std::string& name) {
        return (Repo() / "examples" / name).string();
    }
    static fs::path Tool() {
        if (const char* env = std::getenv("QXSCRIPT")) return env;
        return fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "tools" /
               "qxscript";
    }

    void SetUp() override {
        ASSERT_TRUE(fs::exists(Tool())) << Tool();
        ASSERT_TRUE(tmp_.ok());
    }

    // Runs the tool with standard input from a file (through a pipe when piped) and standard
    // output into a file, or into stdoutPath (whose content is then not read).
    ToolRun Exec(const std::vector<std::string>& args, const std::string& stdinPath = "/dev/null",
                 bool piped = false, const std::string& stdoutPath = "") const {
        std::string cmd = Quote(Tool().string());
        for (const std::string& a : args) cmd += " " + Quote(a);
        cmd = piped ? "cat " + Quote(stdinPath) + " | " + cmd : cmd + " <" + Quote(stdinPath);
        const std::string out = stdoutPath.empty() ? outDir_ / "stdout" : stdoutPath;
        const std::string err = outDir_ / "stderr";
        cmd += " >" + Quote(out) + " 2>" + Quote(err);
        if (!cwd_.empty()) cmd = "cd " + Quote(cwd_) + " && " + cmd;
        const int rc = std::system(cmd.c_str());
        ToolRun run{WIFEXITED(rc) ? WEXITSTATUS(rc) : -1,
                    stdoutPath.empty() ? test_files::ReadFile(out) : "", test_files::ReadFile(err)};
        if (stdoutPath.empty()) fs::remove(out);
        fs::remove(err);
        return run;
    }

    // A run that must end with the given exit status.
    ToolRun Run(int status, const std::vector<std::string>& args,
                const std::string& stdinPath = "/dev/null", bool piped = false) const {
        ToolRun run = Exec(args, stdinPath, piped);
        EXPECT_EQ(run.status, status) << ::testing::PrintToString(args) << "\n" << run.err;
        return run;
    }

    // The commands of a script as dump shows them, without file and line.
    std::vector<nlohmann::json> Commands(const std::string& script, int status = 0) const {
        return JsonLines(Run(status, {"dump", "--format", "json", script}).out, true);
    }

    std::string Path(const std::string& name) const { return dir_ + "/" + name; }
    std::string Write(const std::string& name, const std::string& content) const {
        test_files::WriteFile(Path(name), content);
        return Path(name);
    }

    // The bundled example script, and the same in GBK.
    const std::string utf8_ = Example("scripts/ne_config.txt");
    const std::string gbk_ = Example("scripts/ne_config_gbk.txt");
    test_files::TempDir tmp_{"qxscript_tool"};
    test_files::TempDir outDir_{"qxscript_out"};  // the tool's standard output and error
    const std::string dir_ = tmp_.path();
    std::string cwd_;  // where the tool runs; empty: here
};

}  // namespace tool_run
