// What a command of the library takes from the application that the library lives in: with a real shell, and
// with commands that change nothing.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Shell.h"

namespace {

/// The application's environment, given back at the end.
class ApplicationsEnvironment : public ::testing::Test {
protected:
    ApplicationsEnvironment() : path_(getenv("PATH")) {}
    ~ApplicationsEnvironment() override {
        setenv("PATH", path_.c_str(), 1);
        unsetenv(kFunction);
        std::filesystem::remove_all(folder_);
    }

    /// A folder in front of PATH with a `pidof` that finds a gpsd.
    void putAnotherPidofInFront() {
        char folder[] = "/tmp/ruxogps-test-XXXXXX";
        folder_ = mkdtemp(folder);
        const std::string program = folder_ + "/pidof";
        std::ofstream(program) << "#!/bin/sh\necho 1\n";
        chmod(program.c_str(), 0700);
        setenv("PATH", (folder_ + ":" + path_).c_str(), 1);
    }
    static void exportAFunction() { setenv(kFunction, "() { echo 1; }", 1); }
    /// Whether a shell that is bash under the name of `sh` finds such a program.
    static bool bashFindsIt() {
        const pid_t child = fork();
        if (child == 0) {
            execlp("bash", "sh", "-c", "pidof a-program-that-is-not-there", nullptr);
            _exit(127);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status == 0;
    }
    /// A file that is open for reading; gone with the test's process.
    static std::string openFile(int flags) { return std::to_string(open("/dev/null", O_RDONLY | flags)); }
    static bool childHas(const std::string& descriptor) {
        return runShell(("test -e /proc/$$/fd/" + descriptor).c_str());
    }

    static constexpr char kFunction[] = "BASH_FUNC_pidof%%";

private:
    std::string path_;
    std::string folder_;
};

} // namespace

TEST_F(ApplicationsEnvironment, SaysByItsPathWhichProgramsTheCommandsAre) {
    ASSERT_FALSE(ShellCommand("pidof a-program-that-is-not-there").hasOutput());
    putAnotherPidofInFront();
    EXPECT_TRUE(ShellCommand("pidof a-program-that-is-not-there").hasOutput());
}

TEST_F(ApplicationsEnvironment, ReplacesCommandsByExportedFunctionsWhereTheShellIsBash) {
    if (!runShell("bash -c true"))
        GTEST_SKIP() << "there is no bash here";
    ASSERT_FALSE(bashFindsIt());
    exportAFunction();
    EXPECT_TRUE(bashFindsIt());
}

TEST_F(ApplicationsEnvironment, HandsDescriptorsOnToTheCommands) { EXPECT_TRUE(childHas(openFile(0))); }

TEST_F(ApplicationsEnvironment, KeepsDescriptorsThatAreClosedOnExec) {
    EXPECT_FALSE(childHas(openFile(O_CLOEXEC)));
}
