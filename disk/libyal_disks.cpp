// The images read with the libyal libraries.  VHD (fixed, dynamic and
// differencing) and VHDX through libvhdi: blocks mapped through the block
// allocation table, and a differencing image's parent for the blocks it does
// not hold.  QCOW2 (and QCOW1) through libqcow: clusters mapped through L1
// and L2 tables, compressed clusters, and a backing file for the clusters a
// child does not hold; every table entry is checked before libqcow reads it.
#include "disk/image_formats.h"
#include "disk/image_disk.h"
#include "disk/libyal_image.h"
#include "disk/qcow_check.h"

#if SLIX_HAVE_LIBVHDI
#include <libvhdi.h>

container_opening open_vhdi_image(const std::string& path, container_kind kind) {
  using vhdi_library =
      libyal_library<libvhdi_file_t, libvhdi_error_t, libvhdi_file_initialize, libvhdi_file_free, libvhdi_file_open,
                     LIBVHDI_OPEN_READ, libvhdi_file_get_media_size, libvhdi_file_read_buffer_at_offset,
                     libvhdi_file_get_utf8_parent_filename_size, libvhdi_file_get_utf8_parent_filename,
                     libvhdi_file_set_parent_file, libvhdi_error_free>;
  return libyal_image<vhdi_library>::open(path, kind);
}
#else
container_opening open_vhdi_image(const std::string& path, container_kind kind) { return library_missing(path, kind); }
#endif

#if SLIX_HAVE_LIBQCOW
#include <libqcow.h>

namespace {

std::string check_qcow_file(const std::string& path) {
  image_disk file(path);
  return file.is_open() ? qcow_layout_problem(file) : "";
}

}  // namespace

container_opening open_qcow_image(const std::string& path) {
  using qcow_library =
      libyal_library<libqcow_file_t, libqcow_error_t, libqcow_file_initialize, libqcow_file_free, libqcow_file_open,
                     LIBQCOW_OPEN_READ, libqcow_file_get_media_size, libqcow_file_read_buffer_at_offset,
                     libqcow_file_get_utf8_backing_filename_size, libqcow_file_get_utf8_backing_filename,
                     libqcow_file_set_parent_file, libqcow_error_free>;
  return libyal_image<qcow_library>::open(path, container_kind::qcow, check_qcow_file);
}
#else
container_opening open_qcow_image(const std::string& path) { return library_missing(path, container_kind::qcow); }
#endif
