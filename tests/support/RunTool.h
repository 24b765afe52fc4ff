#pragma once
// Runs the built layscan executable with a command line in a scratch folder
// (so that its default report lands there) and collects its exit code,
// console and error output, line ends as LF.

#include <cstdlib>
#include <string>

#include "support/GoldenFile.h"
#include "support/ScratchFolder.h"

#ifndef _WIN32
#include <sys/wait.h>
#endif

struct ToolRun {
    int exitCode = -1;
    std::string out;  // the console
    std::string err;  // the error stream
};

// arguments is the command line after the program, already quoted as needed;
// wrapper, when given, is a command that runs the tool (as "strace -o log ").
inline ToolRun RunTool(const std::string& arguments, const ScratchFolder& workDir, const std::string& wrapper = "") {
#ifdef _WIN32
    const std::string changeDir = "cd /d \"", tool = LAYSCAN_BINARY_DIR "/layscan.exe";
#else
    const std::string changeDir = "cd \"", tool = LAYSCAN_BINARY_DIR "/layscan";
#endif
    std::string command = changeDir + workDir.Path().string() + "\" && " + wrapper + "\"" + tool + "\" " + arguments +
                          " > \"" + workDir.File("console.txt") + "\" 2> \"" + workDir.File("errors.txt") + "\"";
#ifdef _WIN32
    command = "\"" + command + "\"";  // cmd drops the outermost quotes of what it is given
#endif
    ToolRun run;
    const int status = std::system(command.c_str());
#ifdef _WIN32
    run.exitCode = status;
#else
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
    run.out = golden::Replaced(golden::ReadFile(workDir.File("console.txt")), "\r", "");
    run.err = golden::Replaced(golden::ReadFile(workDir.File("errors.txt")), "\r", "");
    return run;
}
