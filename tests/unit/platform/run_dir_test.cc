#include "platform/run_dir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "processes.h"

namespace {

using namespace ofa::platform;

TEST(RunDir, PathsUnderTheRunDirectory) {
  ::setenv("OFA_RUN_DIR", "/r", 1);
  EXPECT_EQ(pq6_path("ofmgragt", 1), "/r/pq6/ofmgragt.1");
  EXPECT_EQ(pq6_mp_path("ofmgragt"), "/r/pq6/ofmgragt.mp");
  EXPECT_EQ(hsl_cmd_path(2), "/r/hsl/cmd.2");
  EXPECT_EQ(hsl_event_path(2), "/r/hsl/event.2");
  EXPECT_EQ(hsl_ctl_path(2), "/r/hsl/ctl.2");
  EXPECT_EQ(ipc_path("IPCOPENFLOWAGT", 1), "/r/ipc/IPCOPENFLOWAGT.1");
  EXPECT_EQ(qcf_path("ofagt_p1"), "/r/qcf/ofagt_p1");
  ::unsetenv("OFA_RUN_DIR");
  EXPECT_EQ(run_dir(), "/tmp/ofa");
}

using Made = ofa::test::RunDir;  // OFA_RUN_DIR names a fresh directory

TEST_F(Made, MakesFoldersWithMode0700AndRefusesLongPaths) {
  std::string path = hsl_cmd_path(1);
  EXPECT_FALSE(ensure_parent_dir(path));
  struct stat st {};
  ASSERT_EQ(::stat(this->path("hsl").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_FALSE(ensure_parent_dir(path));  // a second time is fine
  auto err = ensure_parent_dir(dir_ + "/" + std::string(120, 'x'));
  ASSERT_TRUE(err);
  EXPECT_NE(err->find("socket address"), std::string::npos);
}

TEST_F(Made, CheckRefusesADirectoryOthersMayWrite) {
  std::filesystem::path base = path("run");
  ::setenv("OFA_RUN_DIR", base.c_str(), 1);
  struct Case {
    mode_t mode;  // 0: missing
    const char* error;
  };
  const Case cases[] = {
      {0700, nullptr},
      {0770, ": run directory refused: writable by group or others (mode 0770)"},
      {0, nullptr},
  };
  for (const auto& c : cases) {
    std::filesystem::remove_all(base);
    if (c.mode) {
      ASSERT_EQ(::mkdir(base.c_str(), 0700), 0);
      ASSERT_EQ(::chmod(base.c_str(), c.mode), 0);
    }
    auto err = check_run_dir();
    EXPECT_EQ(err.value_or(""), c.error ? base.string() + c.error : "") << std::oct << c.mode;
    if (c.error) {
      EXPECT_EQ(ensure_parent_dir(hsl_cmd_path(1)), err);  // nothing is made inside it
      EXPECT_FALSE(std::filesystem::exists(base / "hsl"));
    }
  }
}

}  // namespace
