// Tests of reading a trace while it is written.
#include "host/demo/traceFollower.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

namespace halvexdemo {
namespace {

class TraceFollowerTest : public testing::Test {
protected:
    TraceFollowerTest() : path_(testing::TempDir() + "trace-follower-test.jsonl") { std::remove(path_.c_str()); }
    ~TraceFollowerTest() override { std::remove(path_.c_str()); }

    void write(const std::string& text) { std::ofstream(path_, std::ios::app | std::ios::binary) << text; }

    std::string path_;
};

TEST_F(TraceFollowerTest, FindsLogLinesOneAfterTheOther) {
    write("{\"kind\":\"start\"}\n{\"kind\":\"syslog\",\"text\":\"one\"}\n{\"kind\":\"syslog\",\"text\":\"one\"}\n");
    TraceFollower follower(path_);
    EXPECT_EQ(follower.readThroughLogLine("one"), 1u);
    EXPECT_EQ(follower.readThroughLogLine("one"), 2u);
}

TEST_F(TraceFollowerTest, WaitsForALineThatIsYetToBeWritten) {
    write("{\"kind\":\"syslog\",\"te");
    TraceFollower follower(path_);
    std::thread writer([this] { write("xt\":\"late\"}\n"); });
    EXPECT_EQ(follower.readThroughLogLine("late"), 0u);
    writer.join();
}

TEST_F(TraceFollowerTest, TakesALineOnlyWhenItIsWhole) {
    write("{\"kind\":\"start\"}\n{\"kind\":");
    TraceFollower follower(path_);
    follower.readToEnd();
    EXPECT_EQ(follower.happenings().size(), 1u);
    write("\"truth\"}\n");
    follower.readToEnd();
    EXPECT_EQ(follower.happenings().size(), 2u);
}

TEST_F(TraceFollowerTest, RefusesALineThatIsNoObject) {
    write("oops\n");
    TraceFollower follower(path_);
    EXPECT_THROW(follower.readToEnd(), std::runtime_error);
}

}  // namespace
}  // namespace halvexdemo
