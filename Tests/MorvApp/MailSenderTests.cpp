// Messages through a program of the test's own in the place of the desktop's.
#include "MorvApp/Integration/MailSender.h"
#include "MorvCore/Foundation/Errors.h"
#include "Tests/MorvApp/Support.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace morv {
namespace {

class MailSenderTest : public test::FolderTest {
protected:
    std::string program(const std::string& lines) {
        const auto path = root.path() + "/mailer";
        std::ofstream(path) << "#!/bin/bash\n" << lines << '\n';
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }
};

TEST_F(MailSenderTest, handsOverEveryNameAsItIs) {
    const MailSender sender(program("printf '%s\\0' \"$@\" > '" + root.path() + "/arguments'; test ! -t 0"));
    const std::vector<FileURL> files{file("two words.txt"),           file("--attach"),
                                     file("-e$(touch x)`y`;'\".txt"), file("line\nfeed"),
                                     file("not \xff utf-8"),          file("a&to=b%41")};
    sender.sendByMail(files, {});
    std::string expected;
    for (const auto& each : files)
        expected += std::string("--attach") + '\0' + each.path() + '\0';
    std::ostringstream written;
    written << std::ifstream(root.path() + "/arguments", std::ios::binary).rdbuf();
    EXPECT_EQ(written.str(), expected);
}

TEST_F(MailSenderTest, tellsWhenNoMessageOpens) {
    EXPECT_THROW(MailSender("morv-no-such-program").sendByMail({file("a")}, {}), FileOperationError);
    EXPECT_THROW(MailSender(program("exit 3")).sendByMail({file("a")}, {}), FileOperationError);
    EXPECT_THROW(MailSender(program("kill -9 $$")).sendByMail({file("a")}, {}), FileOperationError);
}

TEST_F(MailSenderTest, aStopEndsTheWaitingAndNotTheMessage) {
    const auto pipe = root.path() + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const auto number = root.path() + "/number";
    const MailSender sender(program("echo $$ > '" + number + "'; read line < '" + pipe +
                                    "'; echo closed > '" + root.path() + "/said'"));
    const auto item = file("a");
    std::stop_source stop;
    std::thread waiting([&] { sender.sendByMail({item}, stop.get_token()); });
    stop.request_stop();
    waiting.join();
    // Opening the other end waits for the program: it is still there.
    std::ofstream(pipe) << "end\n";
    EXPECT_TRUE(test::eventually([&] { return exists(root.child("said")); }));
    int process = 0;
    std::ifstream(number) >> process;
    ASSERT_GT(process, 0);
    EXPECT_TRUE(test::eventually([&] { return ::kill(process, 0) < 0; })) << "it stays as a zombie";
}

} // namespace
} // namespace morv
