#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "store_fixture.h"

using CcfgCli = StoreTest;

namespace {

constexpr char usage[] = "usage: ccfg_cli get KEY@SECTION\n"
                         "       ccfg_cli set KEY@SECTION=VALUE\n"
                         "       ccfg_cli unset KEY@SECTION\n"
                         "       ccfg_cli list [SECTION]\n"
                         "       ccfg_cli export\n"
                         "       ccfg_cli import [FILE]\n"
                         "       ccfg_cli check [FILE]\n"
                         "       ccfg_cli help [KEY[@SECTION] | SECTION | WORD | VERB]\n"
                         "       ccfg_cli --help | --version\n";

constexpr char get_usage[] = "usage: ccfg_cli get KEY@SECTION\n";
constexpr char set_usage[] = "usage: ccfg_cli set KEY@SECTION=VALUE\n";
constexpr char unset_usage[] = "usage: ccfg_cli unset KEY@SECTION\n";

constexpr char name_rule[] = "key and section must each be 1 to 63 characters of A-Za-z0-9_.-\n";

} // namespace

TEST_F(CcfgCli, GetsWhatWasSet)
{
    EXPECT_EQ(cli({"set", "a@lan0=one two"}), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"get", "a@lan0"}), (Outcome{0, "one two\n", ""}));
}

TEST_F(CcfgCli, TellsAnEmptyValueFromAMissingOne)
{
    EXPECT_EQ(cli({"set", "a@lan0="}), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"get", "a@lan0"}), (Outcome{0, "\n", ""}));
    EXPECT_EQ(cli({"get", "b@lan0"}), (Outcome{1, "", ""}));
}

TEST_F(CcfgCli, KeepsTheSignsInAValue)
{
    EXPECT_EQ(cli({"set", "a@lan0=x=y@z=\"'$ \\"}).status, 0);
    EXPECT_EQ(cli({"get", "a@lan0"}), (Outcome{0, "x=y@z=\"'$ \\\n", ""}));
}

TEST_F(CcfgCli, Unsets)
{
    cli({"set", "a@lan0=1"});
    EXPECT_EQ(cli({"unset", "a@lan0"}), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"get", "a@lan0"}), (Outcome{1, "", ""}));
    EXPECT_EQ(cli({"unset", "a@lan0"}), (Outcome{0, "", ""}));
}

TEST_F(CcfgCli, ListsSortedLines)
{
    ASSERT_EQ(cli({"import"}, "b@lan0=3\na@lan0.x=2\na@lan0=9\na@lan1=1\nZ@lan0=0\na.b@lan0=4\na_b@lan0=5\n").status,
              0);
    const std::string lines = "Z@lan0=0\na.b@lan0=4\na@lan0.x=2\na@lan0=9\na@lan1=1\na_b@lan0=5\nb@lan0=3\n";
    EXPECT_EQ(cli({"list"}), (Outcome{0, lines, ""}));
    EXPECT_EQ(cli({"export"}), (Outcome{0, lines, ""}));
    EXPECT_EQ(run_program({"/usr/bin/env", "LC_ALL=C", "sort", "-c"}, lines), (Outcome{0, "", ""}));
}

TEST_F(CcfgCli, ListsOneSection)
{
    ASSERT_EQ(cli({"import"}, "a@lan0=1\na@lan01=2\nb@lan0=3\nb@lan=4\n").status, 0);
    EXPECT_EQ(cli({"list", "lan0"}), (Outcome{0, "a@lan0=1\nb@lan0=3\n", ""}));
    EXPECT_EQ(cli({"list", "none"}), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"list", "a@b"}), (Outcome{1, "", std::string("ccfg: a@b: ") + name_rule}));
}

TEST_F(CcfgCli, ImportsAFileOrStandardInput)
{
    const std::string path = folder.file("lines");
    write_file(path, "# comment\n\n  \na@lan0=1\nb@lan0==@\n#c@lan0=3\nd@lan0=");
    EXPECT_EQ(cli({"import", path}), (Outcome{0, "", ""}));
    EXPECT_EQ(listed(), "a@lan0=1\nb@lan0==@\nd@lan0=\n");
    EXPECT_EQ(cli({"import", "-"}, "e@lan0=5\n"), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"import"}, "f@lan0=6\na@lan0=x\na@lan0=y\n"), (Outcome{0, "", ""}));
    EXPECT_EQ(listed(), "a@lan0=y\nb@lan0==@\nd@lan0=\ne@lan0=5\nf@lan0=6\n");
    EXPECT_EQ(cli({"import"}, ""), (Outcome{0, "", ""}));
}

TEST_F(CcfgCli, ImportsAllOrNothingAndNamesTheBadLine)
{
    ASSERT_EQ(cli({"set", "a@lan0=old"}).status, 0);
    const std::string head = "a@lan0=new\n# skipped\nb@lan0=2\n";
    const struct {
        std::string line;
        std::string said;
    } cases[] = {
        {"no sign", "there is no '=' before the value: no sign\n"},
        {"key=value", "there is no '@' between key and section: key=value\n"},
        {"k k@lan0=1", "key and section must each be 1 to 63 characters of A-Za-z0-9_.-: k k@lan0=1\n"},
        {"k@lan0=tab\there", "a value must not contain control characters: k@lan0=tab?here\n"},
        {"k@lan0=" + std::string(1024, 'v'),
         "a value must be at most 1023 bytes: k@lan0=" + std::string(1024, 'v') + "\n"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(cli({"import"}, head + one.line + "\nc@lan0=3\n"),
                  (Outcome{1, "", "ccfg: standard input: line 4: " + one.said}));
        EXPECT_EQ(listed(), "a@lan0=old\n");
    }
    const Outcome endless = cli({"import"}, head + std::string(5000, 'v'));
    EXPECT_EQ(endless.status, 1);
    EXPECT_EQ(endless.errors.rfind("ccfg: standard input: line 4: the line is too long: vvvv", 0), 0u);
    EXPECT_EQ(listed(), "a@lan0=old\n");
}

TEST_F(CcfgCli, AnExportImportsToTheSameStore)
{
    std::string lines;
    for (int i = 0; i < 700; ++i) // more than one transaction of the library can touch
        lines += "k" + std::to_string(1000 + i) + "@s=" + std::string(static_cast<size_t>(i), '=') + "@\n";
    ASSERT_EQ(cli({"import"}, lines).status, 0);
    const Outcome exported = cli({"export"});
    EXPECT_EQ(exported, (Outcome{0, lines, ""}));
    const TempFolder other;
    EXPECT_EQ(cli({"import"}, exported.output), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"export"}), exported);
}

TEST_F(CcfgCli, AnImportThatCannotBeReadIsNamed)
{
    const std::string path = folder.file("none");
    EXPECT_EQ(cli({"import", path}),
              (Outcome{1, "", "ccfg: " + path + ": cannot be read: No such file or directory\n"}));
    EXPECT_EQ(cli({"import", folder.path()}),
              (Outcome{1, "", "ccfg: " + folder.path() + ": cannot be read: Is a directory\n"}));
}

TEST_F(CcfgCli, ASlowImportHoldsNobodyUp)
{
    int input[2];
    ASSERT_EQ(pipe2(input, O_CLOEXEC), 0);
    const pid_t slow = start_child([&] {
        dup2(input[0], STDIN_FILENO);
        execl(CCFG_CLI, CCFG_CLI, "import", nullptr);
        return 126;
    });
    ASSERT_EQ(write(input[1], "a@lan0=1\n", 9), 9);
    EXPECT_EQ(cli({"set", "a@lan0=0"}), (Outcome{0, "", ""}));
    EXPECT_EQ(cli({"set", "b@lan0=0"}), (Outcome{0, "", ""}));
    EXPECT_EQ(listed(), "a@lan0=0\nb@lan0=0\n");
    close(input[1]);
    close(input[0]);
    EXPECT_EQ(wait_child(slow), 0);
    EXPECT_EQ(listed(), "a@lan0=1\nb@lan0=0\n");
}

TEST_F(CcfgCli, RefusesWhatIsOutsideTheLimits)
{
    const std::string long_name(64, 'n');
    EXPECT_EQ(cli({"set", long_name + "@lan0=1"}), (Outcome{1, "", "ccfg: " + long_name + "@lan0=1: " + name_rule}));
    EXPECT_EQ(cli({"get", "a b@lan0"}), (Outcome{1, "", std::string("ccfg: a b@lan0: ") + name_rule}));
    EXPECT_EQ(cli({"unset", "a@"}), (Outcome{1, "", std::string("ccfg: a@: ") + name_rule}));
    EXPECT_EQ(cli({"set", "a@lan0=\n"}),
              (Outcome{1, "", "ccfg: a@lan0=?: a value must not contain control characters\n"}));
    EXPECT_EQ(cli({"set", "a@lan0=" + std::string(1024, 'v')}).status, 1);
    EXPECT_EQ(listed(), "");
}

TEST_F(CcfgCli, ExplainsItselfWhenCalledWrongly)
{
    const struct {
        std::vector<std::string> arguments;
        std::string reason;
        std::string shown;
    } cases[] = {
        {{}, "a verb is needed", usage},
        {{"show"}, "there is no verb \"show\"", usage},
        {{"sett"}, "there is no verb \"sett\"; did you mean set?", set_usage},
        {{""}, "there is no verb \"\"", usage},
        {{"get"}, "one argument is needed", get_usage},
        {{"get", "a@b", "c@d"}, "one argument is needed", get_usage},
        {{"get", "a"}, "there is no '@' in \"a\"", get_usage},
        {{"get", "mtu"}, "there is no '@' in \"mtu\"; did you mean mtu@wan100?", get_usage},
        {{"set"}, "one argument is needed", set_usage},
        {{"set", "a@b", "=1"}, "one argument is needed", set_usage},
        {{"set", "a=1"}, "there is no '@' in \"a=1\"", set_usage},
        {{"set", "a@b"}, "there is no '=' in the argument", set_usage},
        {{"unset"}, "one argument is needed", unset_usage},
        {{"unset", "a"}, "there is no '@' in \"a\"", unset_usage},
        {{"list", "a", "b"}, "at most one section can be listed", "usage: ccfg_cli list [SECTION]\n"},
        {{"list", "-a"}, "there is no option \"-a\"", "usage: ccfg_cli list [SECTION]\n"},
        {{"export", "a"}, "export takes no argument", "usage: ccfg_cli export\n"},
        {{"import", "a", "b"}, "at most one file can be imported", "usage: ccfg_cli import [FILE]\n"},
        {{"--help", "a"}, "help takes no argument", usage},
        {{"--version", "a"}, "--version takes no argument", usage},
    };
    for (const auto& one : cases)
        EXPECT_EQ(cli(one.arguments), (Outcome{2, "", "ccfg_cli: " + one.reason + "\n" + one.shown}));
    EXPECT_NE(access(folder.store().c_str(), F_OK), 0) << "a usage error must not create a store";
}

TEST_F(CcfgCli, HelpGoesToStandardOutput)
{
    const Outcome help = cli({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    EXPECT_EQ(help.output.rfind(usage, 0), 0u);
    EXPECT_NE(help.output.find("TESA_STORE"), std::string::npos);
}

TEST_F(CcfgCli, SaysWhenItsOutputCannotBeWritten)
{
    ASSERT_EQ(cli({"set", "a@lan0=1"}).status, 0);
    const Outcome full = run_program({"/bin/sh", "-c", std::string(CCFG_CLI) + " list >/dev/full"});
    EXPECT_EQ(full, (Outcome{1, "", "ccfg: standard output: No space left on device\n"}));
}

TEST_F(CcfgCli, NeedsNoCxxRuntimeLibrary)
{
    const Outcome libraries = run_program({"/usr/bin/env", "ldd", CCFG_CLI});
    ASSERT_EQ(libraries.status, 0);
    const bool is_sanitized = libraries.output.find("libasan") != std::string::npos; // which brings it along
    EXPECT_EQ(libraries.output.find("libstdc++") != std::string::npos, is_sanitized) << libraries.output;
}
