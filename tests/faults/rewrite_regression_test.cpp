// Faults that once made a rewrite lose a file's content, each replayed on its
// own: a file that fails to read, taken for a missing one and written afresh;
// a hard-linked file whose read failed, "restored" from nothing.
#include "injector.h"

#include "../system/testbed.h"

#include "host/config_file.h"
#include "status/status.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kDir = "/run/faults-regression";

class RewriteFaults : public testing::Test {
protected:
    void SetUp() override
    {
        REQUIRE_TESTBED();
        ASSERT_TRUE(faults::injector_loaded()) << "run with LD_PRELOAD naming the fault injector";
        testbed::sh(std::string("rm -rf ") + kDir + " && mkdir " + kDir);
        testbed::write(path_, old_);
    }
    void TearDown() override
    {
        faults::disarm();
        testbed::sh(std::string("rm -rf ") + kDir);
    }

    const std::string path_ = std::string(kDir) + "/ifcfg-eth1";
    const std::string old_ = "DEVICE=eth1\nIPADDR=192.0.2.10\nNETMASK=255.255.255.0\nMTU=1500\n";
};

// The counted calls of a rewrite begin with the open and the first read of
// the file: failing the second fails the read.
constexpr long kFirstRead = 2;

TEST_F(RewriteFaults, AFileThatFailsToReadIsNotWrittenAfresh)
{
    host::KeyUpdate update{"MTU", "MTU=9000\n"};
    const std::string whenMissing = "MTU=9000\n";
    for (const char* errnoName : {"EIO", "ENOSPC"}) {
        for (long at : {1L, kFirstRead}) {
            testbed::write(path_, old_);
            ASSERT_TRUE(faults::arm({{std::string(kDir) + "/"}, faults::Action::Fail, at, errnoName}));
            int result = host::update_key_in_file(path_, update, &whenMissing);
            faults::disarm();
            EXPECT_EQ(status::kFileOpen, result) << errnoName << " at " << faults::last_fault();
            EXPECT_EQ(old_, testbed::read(path_)) << errnoName << " at " << faults::last_fault();
        }
    }
    // A file that is not there is still written afresh.
    testbed::remove(path_);
    EXPECT_EQ(status::kSuccess, host::update_key_in_file(path_, update, &whenMissing));
    EXPECT_EQ(whenMissing, testbed::read(path_));
}

TEST_F(RewriteFaults, AHardLinkedFileWhoseReadFailedKeepsItsContent)
{
    const std::string link = std::string(kDir) + "/other-name";
    ASSERT_EQ(0, ::link(path_.c_str(), link.c_str()));
    const std::string content = "DEVICE=eth1\nMTU=9000\n";
    for (long at : {1L, kFirstRead}) {
        testbed::write(path_, old_);
        ASSERT_TRUE(faults::arm({{path_}, faults::Action::Fail, at, "EIO"}));
        int result = host::replace_file(path_, content);
        faults::disarm();
        EXPECT_EQ(status::kFileOpen, result) << faults::last_fault();
        EXPECT_EQ(old_, testbed::read(path_)) << faults::last_fault();
        EXPECT_EQ(old_, testbed::read(link)) << "one file under two names";
    }
    struct stat info;
    ASSERT_EQ(0, stat(path_.c_str(), &info));
    EXPECT_EQ(2u, info.st_nlink);
}

} // namespace
