// The merge of one directory's (or one INDX file's) entries: every carved
// slack entry is compared with the live entries and annotated, and the two
// collections the report walks are built.
#pragma once

#include <cstdint>
#include <string>

#include "indx/entry_store.h"

// Fills report.by_time (every entry, by modified time, valid entries first
// among equal times) and report.dedup (one entry per identity key).  Entries
// in `stores` are stamped with `attr_type`; a slack entry's file reference
// with sequence 0 and an entry number above `max_plausible_entry` is
// cleared.  Slack entries are moved into the report.  A slack entry whose
// name is not live in `stores` is looked up in `live_elsewhere` too (the live
// entries of the directory's other index attribute) before it is called
// deleted.  Returns false when both stores are empty.
bool merge_entries(entry_report& report, entry_stores& stores, uint32_t attr_type, uint64_t max_plausible_entry,
                   const valid_store* live_elsewhere = nullptr);

// The identity of an entry for de-duplication: its name and its modified,
// accessed, MFT-changed and created times, lower-cased.
std::string identity_key(const indx_entry& entry);
