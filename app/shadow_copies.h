// -vss: the volume's shadow copies.  `-vss list` lists the stores, `-vss N`
// analyses store N instead of the live volume, `-vss all` the live volume
// and then every store from the newest to the oldest, in one report, each
// entry naming the state it came from (report_options::snapshot).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "app/indx_options.h"
#include "app/report_output.h"
#include "disk/disk.h"

// Analyses one state of the volume into the report: the live volume when
// `store` is null, else the NTFS volume at offset 0 of the store's disk.
// Returns 0, -1 on failure, or shadow_store_not_ntfs.
using volume_state_analyser = std::function<int(std::unique_ptr<disk> store)>;
constexpr int shadow_store_not_ntfs = 1;

// True when `value` is what -vss takes: "list", "all" or a store number from 1.
bool shadow_copies_value_valid(const std::string& value);

// The -vss run on the volume at `volume_offset` of `source`.  Status 0, or
// -1 when something asked for could not be read (every message printed).
int run_shadow_copies(disk& source, uint64_t volume_offset, indx_options& options, report_output& output,
                      const volume_state_analyser& analyse);

// "2 (2020-07-25 12:27:05 UTC)": a store as entries name it.
std::string snapshot_label(uint32_t number, uint64_t creation_time);
