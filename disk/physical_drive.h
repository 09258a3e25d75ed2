// The live sources on Linux: a physical drive (-drivenum N) or one of its
// partitions (-partition N), opened read-only as block devices.
//
// Drive N is the first of /dev/sd<x>, /dev/vd<x>, /dev/xvd<x> (x the N-th
// letter, so drive 0 is sda), /dev/nvme<N>n1 and /dev/mmcblk<N> that exists.
// Partition P is partition P of drive N (drive 0 when -drivenum is absent):
// /dev/sda2 for sda, /dev/nvme0n1p2 for a device name ending in a digit.  A
// -partition value that begins with "/dev/" names the device itself.
#pragma once

#include <memory>
#include <string>

#include "disk/disk.h"

// The device path for drive `drive_number` (decimal text) under `dev_root`,
// or "" when the number is not valid or no candidate exists.
std::string drive_device_path(const std::string& drive_number, const std::string& dev_root = "/dev");

// The device path of partition `partition` (decimal text, from 1) of the
// drive device `drive_device`, or "" when the number is not valid.
std::string partition_device_path(const std::string& drive_device, const std::string& partition);

// Opens the drive, or its partition when `partition` is not empty; null when
// the device is missing or cannot be opened.
std::unique_ptr<disk> open_drive_source(const std::string& drive_number, const std::string& partition,
                                        const std::string& dev_root = "/dev");
