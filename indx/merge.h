// The merge of one directory's (or one INDX file's) entries: every carved
// slack entry is compared with the live entries and annotated, and the two
// collections the report walks are built.
#pragma once

#include <cstdint>
#include <string>

#include "indx/entry_store.h"

// Moves the entries of `stores` into the report, lists them in
// report.by_time (by modified time; among equal times, earlier merges first,
// then this one's live entries, then its slack) and enters them in
// report.dedup (one slot per identity).  Entries are stamped with
// `source`; a slack entry's file reference with sequence 0 and an entry
// number above `max_plausible_entry` is cleared.  A slack entry whose name is
// not live in `stores` is looked up in `live_elsewhere` too (the live entries
// of the directory's other index attribute, numbered in this report) before
// it is called deleted.  Afterwards stores.valid numbers its entries in the
// report, and the stores hold no entries.  Returns false when both stores
// are empty.
bool merge_entries(entry_report& report, entry_stores& stores, entry_source source, uint64_t max_plausible_entry,
                   const valid_store* live_elsewhere = nullptr);

// The identity of an entry for de-duplication: its name and its modified,
// accessed, MFT-changed and created times, lower-cased.
std::string identity_key(const indx_entry& entry);
