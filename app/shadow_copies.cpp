#include "app/shadow_copies.h"

#include "app/command_line.h"
#include "app/snapshot_gate.h"
#include "disk/shadow_copies.h"
#include "support/message.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace {

constexpr int fraction_digits = 7;

// "2020-07-25 12:27:05", and the seven digits of the fraction after a dot
// when `with_fraction` is set.
std::string creation_text(uint64_t filetime, bool with_fraction) {
  const vk::time value(filetime, vk::type_time::filetime);
  if (!value.valid()) return "(no creation time)";
  const vk::_windows_systemtime& st = value.systemtime();
  std::string text = vk::dec(st.wYear, 4) + "-" + vk::dec(st.wMonth, 2) + "-" + vk::dec(st.wDay, 2) + " " +
                     vk::dec(st.wHour, 2) + ":" + vk::dec(st.wMinute, 2) + ":" + vk::dec(st.wSecond, 2);
  if (with_fraction) text += "." + vk::dec(filetime % vk::filetime_ticks_per_second, fraction_digits);
  return text + " UTC";
}

std::string list_line(const shadow_store_info& store) {
  std::string line = "store " + vk::dec(store.number) + ": ";
  if (!store.readable) return line + "cannot be read\n";
  return line + store.identifier + ", created " + creation_text(store.creation_time, true) + ", " +
         vk::dec(store.size) + " bytes\n";
}

const char* evidence_of(const indx_options& options) { return options.evidence.c_str(); }

// The catalog's state in one line when it lists no store to read; false then.
bool catalog_has_stores(const shadow_opening& opening, const indx_options& options, const char* consequence) {
  switch (opening.catalog) {
    case shadow_catalog::read:
      if (!opening.stores.empty()) return true;
      [[fallthrough]];
    case shadow_catalog::none:
      vk::print_message("the NTFS volume of %s holds no shadow copies%s\n", evidence_of(options), consequence);
      return false;
    case shadow_catalog::damaged:
      vk::print_message("prob reading the shadow copies of %s: their catalog or a store's header is damaged%s\n",
                        evidence_of(options), consequence);
      return false;
    case shadow_catalog::not_built:
      vk::print_message("prob with option -vss: this slix was built without libvshadow; install libvshadow-dev "
                        "and rebuild\n");
      return false;
  }
  return false;
}

int list_stores(const shadow_opening& opening, const indx_options& options, report_output& output) {
  if (opening.catalog == shadow_catalog::not_built || opening.catalog == shadow_catalog::damaged) {
    catalog_has_stores(opening, options, "");
    return -1;
  }
  if (!catalog_has_stores(opening, options, "")) return 0;
  if (!output.begin()) return -1;
  for (const shadow_store_info& store : opening.stores) output.sink() << list_line(store);
  return 0;
}

// One store, analysed as the volume; false after the message when it cannot be.
bool analyse_store(const shadow_opening& opening, uint32_t number, const indx_options& options,
                   const volume_state_analyser& analyse) {
  std::unique_ptr<disk> store = open_shadow_store(opening.volume, number);
  if (!store) {
    vk::print_message("prob reading shadow copy %u of %s: the store cannot be read\n", number, evidence_of(options));
    return false;
  }
  const int status = analyse(std::move(store));
  if (status == shadow_store_not_ntfs)
    vk::print_message("prob reading shadow copy %u of %s: it holds no NTFS volume\n", number, evidence_of(options));
  return status == 0;
}

int analyse_one_store(const shadow_opening& opening, uint32_t number, const indx_options& options,
                      const volume_state_analyser& analyse) {
  if (!catalog_has_stores(opening, options, "")) return -1;
  const size_t count = opening.stores.size();
  if (number > count) {
    vk::print_message("prob with option -vss: store %u does not exist; the volume of %s holds %s\n", number,
                      evidence_of(options),
                      count == 1 ? "store 1" : ("stores 1 to " + vk::dec(count)).c_str());
    return -1;
  }
  return analyse_store(opening, number, options, analyse) ? 0 : -1;
}

// The live volume, then every store from the newest to the oldest.
int analyse_every_state(const shadow_opening& opening, indx_options& options, const volume_state_analyser& analyse) {
  snapshot_gate gate;
  options.snapshots = &gate;
  options.snapshot = "live";
  gate.begin_state(true);
  int status = analyse(nullptr);
  const bool any_store = catalog_has_stores(opening, options, "; the live volume alone is analysed");
  if (opening.catalog == shadow_catalog::damaged) status = -1;
  for (size_t index = any_store ? opening.stores.size() : 0; index > 0; --index) {
    const shadow_store_info& store = opening.stores[index - 1];
    options.snapshot = snapshot_label(store.number, store.creation_time);
    gate.begin_state(false);
    if (!analyse_store(opening, store.number, options, analyse)) status = -1;
  }
  options.snapshots = nullptr;
  return status;
}

}  // namespace

bool shadow_copies_value_valid(const std::string& value) {
  uint64_t number = 0;
  return value == "list" || value == "all" || (parse_number(value, number) && number >= 1 && number <= INT32_MAX);
}

std::string snapshot_label(uint32_t number, uint64_t creation_time) {
  return vk::dec(number) + " (" + creation_text(creation_time, false) + ")";
}

int run_shadow_copies(disk& source, uint64_t volume_offset, indx_options& options, report_output& output,
                      const volume_state_analyser& analyse) {
  const shadow_opening opening = open_shadow_copies(source, volume_offset);
  if (options.shadow_copies == "list") return list_stores(opening, options, output);
  if (options.shadow_copies == "all") return analyse_every_state(opening, options, analyse);
  uint64_t number = 0;
  parse_number(options.shadow_copies, number);
  return analyse_one_store(opening, static_cast<uint32_t>(number), options, analyse);
}
