// Shell commands, and their output.

#include "Shell.h"

#include "VirtualUnit.h"

using ::testing::ElementsAre;

namespace {

class Shell : public UnitTest {};

TEST_F(Shell, RunsACommandAndTellsItsStatus) {
    unit.shell.systemGives("fails", 256);
    EXPECT_TRUE(runShell("works"));
    EXPECT_FALSE(runShell("fails"));
    EXPECT_THAT(unit.journal.lines(), ElementsAre("system works", "system fails"));
}

TEST_F(Shell, CountsACommandThatCanNotBeRunAsFailed) {
    unit.shell.systemGives("any", -1);
    EXPECT_FALSE(runShell("any"));
}

TEST_F(Shell, WaitsForTheEndOfACommandWhoseOutputIsRead) {
    { const ShellCommand command("any"); }
    EXPECT_THAT(unit.journal.lines(), ElementsAre("popen any", "pclose any"));
}

TEST_F(Shell, FindsOutput) {
    unit.shell.answers("loud", "1234\n");
    EXPECT_TRUE(ShellCommand("loud").hasOutput());
    EXPECT_FALSE(ShellCommand("silent").hasOutput());
}

TEST_F(Shell, FindsNoOutputOfACommandThatDidNotStart) {
    unit.shell.popenFails("any");
    ShellCommand command("any");
    EXPECT_FALSE(command.started());
    EXPECT_FALSE(command.hasOutput());
}

TEST_F(Shell, ReadsOnWhenASignalInterruptsIt) {
    unit.shell.answers("loud", "1234\n");
    unit.shell.interruptsReading(3);
    EXPECT_TRUE(ShellCommand("loud").hasOutput());
    unit.shell.interruptsReading(3);
    EXPECT_FALSE(ShellCommand("silent").hasOutput());
}

TEST_F(Shell, EndsAtAnErrorThatIsNoInterruption) {
    unit.shell.answers("loud", "1234\n");
    unit.shell.interruptsReading(1, EIO);
    EXPECT_FALSE(ShellCommand("loud").hasOutput());
}

} // namespace
