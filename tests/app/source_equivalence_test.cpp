// A -vmdk source must behave exactly like -image on the same disk contents:
// for each VMDK layout qemu-img writes, and for a snapshot chain whose child
// holds only the grains that changed, every option gives the same exit
// status, standard error and output lines as the raw disk (the command-line
// echo of the header aside).
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;

const std::string& vmdk_workdir() {
  static std::unique_ptr<slix_test::temp_dir> dir;
  if (!dir) {
    dir = std::make_unique<slix_test::temp_dir>();
    for (const auto& item : fs::directory_iterator(slix_test::fixture("vmdk"))) {
      const fs::path path = item.path();
      if (path.extension() == ".gz") slix_test::gunzip(path.string(), dir->file(path.stem().string()));
    }
  }
  return dir->path();
}

// Drops the banner and command-line lines, which name the source.
std::string without_header(const std::string& out) {
  size_t pos = 0;
  for (int line = 0; line < 2 && pos != std::string::npos; ++line) {
    pos = out.find('\n', pos);
    if (pos != std::string::npos) ++pos;
  }
  return pos == std::string::npos ? "" : out.substr(pos);
}

struct disk_pair {
  std::string name;
  std::string vmdk_list;
  std::string raw;
};

const std::vector<std::vector<std::string>> option_sets = {
    {"-quiet"},
    {"-offset", "0x100000", "-all", "-csv", "-quiet"},
    {"-offset", "0x100000", "-mft", "5", "-level", "3", "-all", "-hexdump", "-quiet"},
    {"-offset", "1048576", "-path", "\\", "-level", "2", "-slack", "-bodyfile", "-quiet"},
    {"-offset", "0x200000", "-quiet"},
};

class vmdk_like_image : public testing::TestWithParam<disk_pair> {};

TEST_P(vmdk_like_image, every_option_gives_the_raw_disk_output) {
  const std::string& work = vmdk_workdir();
  for (const auto& options : option_sets) {
    std::vector<std::string> vmdk_args{"-vmdk", GetParam().vmdk_list}, image_args{"-image", GetParam().raw};
    vmdk_args.insert(vmdk_args.end(), options.begin(), options.end());
    image_args.insert(image_args.end(), options.begin(), options.end());
    const auto from_vmdk = slix_test::run_slix(vmdk_args, "", work);
    const auto from_image = slix_test::run_slix(image_args, "", work);
    const std::string label = GetParam().vmdk_list + " with " + options[0] + " " + options.back();
    EXPECT_EQ(from_vmdk.status, from_image.status) << label;
    EXPECT_EQ(from_vmdk.err, from_image.err) << label;
    EXPECT_EQ(without_header(from_vmdk.out), without_header(from_image.out)) << label;
    EXPECT_TRUE(from_image.out.size() > 100 || !from_image.err.empty()) << label;  // never vacuous
  }
}

INSTANTIATE_TEST_SUITE_P(
    layouts, vmdk_like_image,
    testing::Values(disk_pair{"monolithic_sparse", "ntfs-disk.vmdk", "ntfs-disk.raw"},
                    disk_pair{"two_gb_extents", "ntfs-2gb.vmdk", "ntfs-disk.raw"},
                    disk_pair{"monolithic_flat", "ntfs-flat.vmdk", "ntfs-disk.raw"},
                    disk_pair{"snapshot_chain", "ntfs-disk.vmdk | ntfs-child.vmdk", "ntfs-disk-v2.raw"},
                    disk_pair{"snapshot_chain_any_order", "ntfs-child.vmdk|ntfs-disk.vmdk", "ntfs-disk-v2.raw"}),
    [](const auto& info) { return info.param.name; });

// The chain is not the base disk alone: the child's grains change the listing.
TEST(vmdk_chain, child_grains_change_what_the_volume_shows) {
  const std::string& work = vmdk_workdir();
  const std::vector<std::string> options{"-offset", "0x100000", "-all", "-csv", "-quiet"};
  std::vector<std::string> base{"-vmdk", "ntfs-disk.vmdk"}, chain{"-vmdk", "ntfs-disk.vmdk|ntfs-child.vmdk"};
  base.insert(base.end(), options.begin(), options.end());
  chain.insert(chain.end(), options.begin(), options.end());
  EXPECT_NE(without_header(slix_test::run_slix(base, "", work).out),
            without_header(slix_test::run_slix(chain, "", work).out));
}

}  // namespace
