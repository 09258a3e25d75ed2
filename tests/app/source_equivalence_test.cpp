// Every source must behave exactly like -image on the raw disk it holds: for
// each VMDK layout qemu-img writes (stream-optimized too), for a snapshot
// chain whose child holds only the grains that changed, and for every
// evidence container (E01 in one segment or many, compressed or not, VHD
// fixed and dynamic, VHDX, QCOW2 compressed or over a backing file, split
// raw), every option gives the same exit status, standard error and output
// lines as the raw disk (the command-line echo of the header aside).
#include <gtest/gtest.h>

#include "test_support.h"

namespace {

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
  std::string option;  // -vmdk or -image
  std::string source;
  std::string raw;
};

const std::vector<std::vector<std::string>> option_sets = {
    {"-quiet"},
    {"-offset", "0x100000", "-all", "-csv", "-quiet"},
    {"-offset", "0x100000", "-mft", "5", "-level", "3", "-all", "-hexdump", "-quiet"},
    {"-offset", "1048576", "-path", "\\", "-level", "2", "-slack", "-bodyfile", "-quiet"},
    {"-offset", "0x200000", "-quiet"},
};

class source_like_image : public testing::TestWithParam<disk_pair> {};

TEST_P(source_like_image, every_option_gives_the_raw_disk_output) {
  const std::string& work = slix_test::fixture_workdir();
  for (const auto& options : option_sets) {
    std::vector<std::string> source_args{GetParam().option, GetParam().source}, image_args{"-image", GetParam().raw};
    source_args.insert(source_args.end(), options.begin(), options.end());
    image_args.insert(image_args.end(), options.begin(), options.end());
    const auto from_source = slix_test::run_slix(source_args, "", work);
    const auto from_image = slix_test::run_slix(image_args, "", work);
    const std::string label = GetParam().source + " with " + options[0] + " " + options.back();
    EXPECT_EQ(from_source.status, from_image.status) << label;
    EXPECT_EQ(from_source.err, from_image.err) << label;
    EXPECT_EQ(without_header(from_source.out), without_header(from_image.out)) << label;
    EXPECT_TRUE(from_image.out.size() > 100 || !from_image.err.empty()) << label;  // never vacuous
  }
}

INSTANTIATE_TEST_SUITE_P(
    vmdk_layouts, source_like_image,
    testing::Values(disk_pair{"monolithic_sparse", "-vmdk", "ntfs-disk.vmdk", "ntfs-disk.raw"},
                    disk_pair{"two_gb_extents", "-vmdk", "ntfs-2gb.vmdk", "ntfs-disk.raw"},
                    disk_pair{"monolithic_flat", "-vmdk", "ntfs-flat.vmdk", "ntfs-disk.raw"},
                    disk_pair{"stream_optimized", "-vmdk", "ntfs-so.vmdk", "ntfs-disk.raw"},
                    disk_pair{"snapshot_chain", "-vmdk", "ntfs-disk.vmdk | ntfs-child.vmdk", "ntfs-disk-v2.raw"},
                    disk_pair{"snapshot_chain_any_order", "-vmdk", "ntfs-child.vmdk|ntfs-disk.vmdk",
                              "ntfs-disk-v2.raw"}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    containers, source_like_image,
    testing::Values(
        disk_pair{"e01_compressed", "-image", "ntfs-disk.E01", "ntfs-disk.raw"},
        disk_pair{"e01_uncompressed", "-image", "ntfs-disk-nocomp.E01", "ntfs-disk.raw"},
        disk_pair{"e01_seventeen_segments", "-image", "ntfs-multi.E01", "ntfs-disk.raw"},
        disk_pair{"vhd_fixed", "-image", "ntfs-disk-fixed.vhd", "ntfs-disk.raw"},
        disk_pair{"vhd_dynamic", "-image", "ntfs-disk-dynamic.vhd", "ntfs-disk.raw"},
        disk_pair{"vhdx", "-image", "ntfs-disk.vhdx", "ntfs-disk.raw"}, disk_pair{"qcow2_compressed", "-image",
                                                                              "ntfs-disk-compressed.qcow2",
                                                                              "ntfs-disk.raw"},
        disk_pair{"qcow2_over_backing_file", "-image", "ntfs-child.qcow2", "ntfs-disk-v2.raw"},
        disk_pair{"split_from_001", "-image", "ntfs-split.001", "ntfs-disk.raw"},
        disk_pair{"split_from_000", "-image", "ntfs-split0.000", "ntfs-disk.raw"}),
    [](const auto& info) { return info.param.name; });

// A child read through to its backing file is not the backing file alone.
TEST(source_chain, qcow2_child_changes_what_the_volume_shows) {
  const std::string& work = slix_test::fixture_workdir();
  const std::vector<std::string> options{"-offset", "0x100000", "-all", "-csv", "-quiet"};
  std::vector<std::string> base{"-image", "ntfs-base.qcow2"}, child{"-image", "ntfs-child.qcow2"};
  base.insert(base.end(), options.begin(), options.end());
  child.insert(child.end(), options.begin(), options.end());
  EXPECT_NE(without_header(slix_test::run_slix(base, "", work).out),
            without_header(slix_test::run_slix(child, "", work).out));
}

// The chain is not the base disk alone: the child's grains change the listing.
TEST(vmdk_chain, child_grains_change_what_the_volume_shows) {
  const std::string& work = slix_test::fixture_workdir();
  const std::vector<std::string> options{"-offset", "0x100000", "-all", "-csv", "-quiet"};
  std::vector<std::string> base{"-vmdk", "ntfs-disk.vmdk"}, chain{"-vmdk", "ntfs-disk.vmdk|ntfs-child.vmdk"};
  base.insert(base.end(), options.begin(), options.end());
  chain.insert(chain.end(), options.begin(), options.end());
  EXPECT_NE(without_header(slix_test::run_slix(base, "", work).out),
            without_header(slix_test::run_slix(chain, "", work).out));
}

}  // namespace
