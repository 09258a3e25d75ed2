#include "app/volume_mode.h"

#include <exception>
#include <memory>
#include <set>

#include "app/dir_queue.h"
#include "report/entry_writer.h"
#include "app/report_entries.h"
#include "app/shadow_copies.h"
#include "app/volume_source.h"
#include "app/directory_streams.h"
#include "app/mft_states.h"
#include "app/unalloc_pass.h"
#include "ntfs/directory_tree.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"
#include "support/message.h"
#include "support/vk_string.h"

namespace {

// The volume and what one run learns of it.
struct volume_run {
  std::unique_ptr<disk> source;
  std::unique_ptr<CNtfs> volume;
  dir_queue queue;
  directory_index index;
  // With -unalloc: what the directories tell the free-space search.
  std::optional<unalloc_pass> unalloc;
  // With -mftstate: every name of the MFT, read in the same pass as the
  // directories of a whole-volume run, or in a pass of its own.
  std::optional<mft_states> states;
  bool states_scanned = false;
};

bool open_volume(const indx_options& options, volume_run& run) {
  uint64_t volume_offset = 0;
  if (!open_volume_source(options, run.source, volume_offset)) return false;
  run.volume = CNtfs::open(*run.source, volume_offset);
  return true;
}

void resolve_path_of_entry(entry_paths& paths, dir_work_item& item) {
  item.path = with_trailing_backslash(paths.path_of(item.entry, item.reference_sequence, item.record_sequence));
}

dir_work_item item_for_entry(CNtfs& volume, uint64_t entry, uint32_t level) {
  dir_work_item item{entry, 0, 0, "", level};
  entry_paths paths(volume);
  resolve_path_of_entry(paths, item);
  return item;
}

bool queue_whole_volume(volume_run& run) {
  vk::status_line::show("preping directories... [pls wait]");
  std::set<uint64_t> directories;
  const scan_progress progress = [](uint64_t index, uint64_t count) {
    vk::status_line::show("analyzing entry " + std::to_string(index) + " of " + std::to_string(count));
  };
  mft_record_visitor names;
  if (run.states) names = [&run](uint64_t entry, std::span<const uint8_t> record) { run.states->names().take(entry, record); };
  run.states_scanned = run.states.has_value();
  if (!list_directories(*run.volume, directories, progress, names)) {
    vk::print_message("prob finding inodes that are dirs, aborting\n");
    return false;
  }
  // Paths are built as the directories are taken: held all at once, those
  // of a deep chain would take memory growing with the square of its depth.
  auto paths = std::make_shared<entry_paths>(*run.volume);
  run.queue.resolve_with([paths](dir_work_item& item) { resolve_path_of_entry(*paths, item); });
  for (const uint64_t entry : directories) {
    dir_work_item item{entry, 0, 0, "", scanned_directory_level};
    item.path_pending = true;
    run.queue.add(item);
  }
  return true;
}

bool queue_path(volume_run& run, const std::string& path) {
  uint64_t entry = 0;
  uint16_t reference_sequence = 0;
  if (!entry_of_path(*run.volume, normalise_target_path(path), children_of_directories(*run.volume), entry,
                     reference_sequence)) {
    vk::print_message("prob finding corresponding MFT entry, aborting\n");
    return false;
  }
  dir_work_item item{entry, reference_sequence, 0, with_trailing_backslash(path), 0};
  record_sequence(*run.volume, entry, item.record_sequence);
  run.queue.add(item);
  return true;
}

// The start directories: -mft, else the whole volume when -path is absent
// too, else the -path directory.
bool queue_start_directories(volume_run& run, const indx_options& options) {
  if (options.target_mft) {
    run.queue.add(item_for_entry(*run.volume, *options.target_mft, 0));
    return true;
  }
  if (options.target_path.empty()) return queue_whole_volume(run);
  return queue_path(run, options.target_path);
}

// Sub-directories among the valid entries go one level deeper; the
// directory's own "." entry and self references are not descended into.
// They share their parent's path while they wait.
void queue_children(volume_run& run, const dir_work_item& parent) {
  const auto parent_path = std::make_shared<const std::string>(parent.path);
  for (const indx_entry* listed : run.index.report.in_time_order()) {
    const indx_entry& entry = *listed;
    const uint64_t child = mft_entry_of(entry.file_ref);
    if (!entry.is_valid || !entry.is_dir || child == parent.entry) continue;
    dir_work_item item{child, mft_sequence_of(entry.file_ref), 0, "", parent.level + 1};
    item.parent_path = parent_path;
    if (entry.name != ".") item.path = vk::display_name(entry.name) + "\\";
    record_sequence(*run.volume, child, item.record_sequence);
    run.queue.add(item);
  }
}

// Raw index dumps are named after the directory: "\dir\sub\" gives
// "dir.sub.indx.alloc.bin", the root "root.indx.alloc.bin".
std::string dump_base_name(const std::string& path) {
  std::string base = path;
  while (!base.empty() && base.back() == '\\') base.pop_back();
  while (!base.empty() && base.front() == '\\') base.erase(base.begin());
  return base.empty() ? "root" : base;
}

bool analyse_item(volume_run& run, indx_options& options, const dir_work_item& item) {
  options.dump_base_name = dump_base_name(item.path);
  try {
    return analyse_directory(*run.volume, options, item.entry, item.record_sequence, run.index);
  } catch (const std::exception&) {
    vk::print_message("exception caught\n");
    return false;
  }
}

void run_directory_loop(volume_run& run, indx_options& options, entry_writer& writer, const report_output& output) {
  while (auto item = run.queue.take_next()) {
    if (output.failed()) return;
    vk::status_line::show(parsing_status_text(item->path));
    const bool analysed = analyse_item(run, options, *item);
    if (run.unalloc) run.unalloc->note_directory(*item, run.index);
    if (!analysed) continue;
    if (item->level < options.level) queue_children(run, *item);
    writer.set_directory(item->path);
    write_selected_entries(run.index.report, options, writer,
                           source_buffers{.index_root_node = run.index.root,
                                          .allocation_stream = run.index.alloc,
                                          .carved = &run.index.carved});
  }
}

// The name of the source as the command line gave it.
std::string source_name(const indx_options& options) {
  if (!options.image_file.empty()) return options.image_file;
  if (!options.vmdk_list.empty()) return options.vmdk_list;
  return options.partition.empty() ? options.drive_number : options.partition;
}

// An image shorter than its volume (let through by -ignore_image_size, or a
// bare volume cut short) cannot serve the volume's last clusters.
void report_short_image(const volume_run& run, const indx_options& options) {
  const uint64_t volume_end = run.volume->volume_offset() + run.volume->volume_bytes();
  if (volume_end > run.source->size())
    vk::print_message("warning: %s is %llu bytes shorter than the NTFS volume it holds; what is missing cannot be "
                      "read\n",
                      source_name(options).c_str(), static_cast<unsigned long long>(volume_end - run.source->size()));
}

// Reads the container could not serve leave directories out of the report;
// the examiner is told how many.
void report_failed_reads(const volume_run& run, const indx_options& options) {
  if (!run.source || run.source->failed_reads() == 0) return;
  vk::print_message("warning: %llu reads of %s failed (a damaged or truncated container); what they should have "
                    "held is missing from the report\n",
                    static_cast<unsigned long long>(run.source->failed_reads()), source_name(options).c_str());
}

// -mftstate with -mft or -path: the names of the MFT in a pass of their own.
void read_mft_names(volume_run& run, indx_options& options) {
  if (!run.states_scanned) {
    vk::status_line::show("reading the MFT's names... [pls wait]");
    scan_mft_records(*run.volume, [&run](uint64_t entry, std::span<const uint8_t> record) {
      run.states->names().take(entry, record);
    });
  }
  run.states->names().seal();
  options.states = &*run.states;
}

// The queue, then with -unalloc the free space.
int analyse_directories(volume_run& run, indx_options& options, report_output& output) {
  if (options.unalloc) run.unalloc.emplace(*run.volume, options);
  run_directory_loop(run, options, output.writer(), output);
  if (run.unalloc && !output.failed()) {
    // The last directory's buffers are not needed any more.
    run.index = directory_index{};
    run.unalloc->run(output);
  }
  return 0;
}

int analyse_volume(volume_run& run, indx_options& options, report_output& output) {
  if (!run.volume) {
    vk::print_message("user args not valid\n");
    return -1;
  }
  report_short_image(run, options);
  options.max_plausible_entry = run.volume->mft_record_count();
  if (options.mft_state) {
    run.states.emplace(*run.volume);
    run.states->names().reserve(run.volume->mft_record_count());
  }
  if (!queue_start_directories(run, options)) return -1;
  if (run.states) read_mft_names(run, options);
  const int status = output.begin() ? analyse_directories(run, options, output) : -1;
  // The names belong to this run's volume (-vss all runs one per state).
  options.states = nullptr;
  return status;
}

// One state of the volume for -vss: the live volume, or a shadow copy's
// store with its NTFS volume at offset 0.
int analyse_state(volume_run& live, indx_options& options, report_output& output, std::unique_ptr<disk> store) {
  if (!store) return analyse_volume(live, options, output);
  volume_run run;
  run.source = std::move(store);
  run.volume = CNtfs::open(*run.source, 0);
  if (!run.volume) return shadow_store_not_ntfs;
  const int status = analyse_volume(run, options, output);
  report_failed_reads(run, options);
  return status;
}

int analyse_volume_or_shadow_copies(volume_run& run, indx_options& options, report_output& output) {
  if (options.shadow_copies.empty() || !run.volume) return analyse_volume(run, options, output);
  return run_shadow_copies(*run.source, run.volume->volume_offset(), options, output,
                           [&](std::unique_ptr<disk> store) { return analyse_state(run, options, output, std::move(store)); });
}

// The files the command line names; the opener records every file it opens
// besides (segments, extents, parents).
std::vector<std::string> named_volume_sources(const indx_options& options) {
  std::vector<std::string> names;
  for (const std::string* name : {&options.image_file, &options.partition})
    if (!name->empty()) names.push_back(*name);
  return names;
}

}  // namespace

int run_volume_mode(indx_options& options, report_output& output) {
  if (!output.check_named_sources(named_volume_sources(options))) return -1;
  volume_run run;
  const bool opened = open_volume(options, run);
  if (output.refuses_an_opened_source()) return -1;
  if (!opened) {
    // The message has always named the -path value as it stood before the
    // target options were read, which is empty.
    vk::print_message("prob analyzing directory %s\n", "");
    return -1;
  }
  const int status = analyse_volume_or_shadow_copies(run, options, output);
  report_failed_reads(run, options);
  return status;
}
