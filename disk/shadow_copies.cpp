#include "disk/shadow_copies.h"

#if SLIX_HAVE_LIBVSHADOW

#include <libbfio.h>
#include <libvshadow.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "disk/libyal_image.h"
#include "disk/shadow_lists.h"
#include "support/le_reader.h"
#include "support/vk_string.h"

// The library objects of one volume's catalog, closed and freed together.
class shadow_volume {
 public:
  shadow_volume() = default;
  shadow_volume(const shadow_volume&) = delete;
  shadow_volume& operator=(const shadow_volume&) = delete;
  ~shadow_volume();

  libbfio_handle_t* handle = nullptr;
  libvshadow_volume_t* volume = nullptr;
  bool opened = false;
  // Per store, from the oldest: whether its lists are sound (shadow_lists.h).
  std::vector<bool> lists_sound;
};

namespace {

template <typename Call>
auto bfio_call(Call&& body) {
  return libyal_call<libbfio_error_t, libbfio_error_free>(body);
}

template <typename Call>
auto vshadow_call(Call&& body) {
  return libyal_call<libvshadow_error_t, libvshadow_error_free>(body);
}

// The volume as libbfio sees it: `size` bytes from `offset` of the disk.
struct volume_io {
  disk* source = nullptr;
  uint64_t offset = 0;
  uint64_t size = 0;
  uint64_t position = 0;
  bool open = false;
};

volume_io& io_of(intptr_t* handle) { return *reinterpret_cast<volume_io*>(handle); }

// The libbfio callbacks.  libbfio owns the io handle once given, and frees
// it (and each clone) through free_io.
int free_io(intptr_t** handle, libbfio_error_t**) {
  if (handle != nullptr) {
    delete reinterpret_cast<volume_io*>(*handle);
    *handle = nullptr;
  }
  return 1;
}

int clone_io(intptr_t** destination, intptr_t* source, libbfio_error_t**) {
  if (destination == nullptr || source == nullptr) return -1;
  volume_io* copy = new volume_io(io_of(source));
  copy->open = false;
  copy->position = 0;
  *destination = reinterpret_cast<intptr_t*>(copy);
  return 1;
}

// Read-only: a request for write access is refused.
int open_io(intptr_t* handle, int access_flags, libbfio_error_t**) {
  if ((access_flags & LIBBFIO_ACCESS_FLAG_WRITE) != 0) return -1;
  io_of(handle).open = true;
  io_of(handle).position = 0;
  return 1;
}

int close_io(intptr_t* handle, libbfio_error_t**) {
  io_of(handle).open = false;
  return 0;
}

// A read that the disk serves short (a damaged container) gives what it got;
// libvshadow then reports the read as failed.
ssize_t read_io(intptr_t* handle, uint8_t* buffer, size_t size, libbfio_error_t**) {
  volume_io& io = io_of(handle);
  if (!io.open || io.position >= io.size) return 0;
  const size_t wanted = static_cast<size_t>(std::min<uint64_t>(size, io.size - io.position));
  const size_t got = io.source->read(io.offset + io.position, std::span<uint8_t>(buffer, wanted));
  io.position += got;
  return static_cast<ssize_t>(got);
}

ssize_t write_io(intptr_t*, const uint8_t*, size_t, libbfio_error_t**) { return -1; }

off64_t seek_io(intptr_t* handle, off64_t offset, int whence, libbfio_error_t**) {
  volume_io& io = io_of(handle);
  int64_t base = 0;
  if (whence == SEEK_CUR) base = static_cast<int64_t>(io.position);
  if (whence == SEEK_END) base = static_cast<int64_t>(io.size);
  if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) return -1;
  // The lowest offset has no negation: it reaches before any base.
  if (offset < 0 ? offset == INT64_MIN || base < -offset : offset > INT64_MAX - base) return -1;
  io.position = static_cast<uint64_t>(base + offset);
  return static_cast<off64_t>(io.position);
}

int exists_io(intptr_t*, libbfio_error_t**) { return 1; }

int is_open_io(intptr_t* handle, libbfio_error_t**) { return io_of(handle).open ? 1 : 0; }

int size_io(intptr_t* handle, size64_t* size, libbfio_error_t**) {
  *size = io_of(handle).size;
  return 1;
}

libbfio_handle_t* make_volume_handle(disk& source, uint64_t volume_offset) {
  volume_io* io = new volume_io{&source, volume_offset, source.size() - volume_offset};
  libbfio_handle_t* handle = nullptr;
  const bool made = bfio_call([&](libbfio_error_t** error) {
    return libbfio_handle_initialize(&handle, reinterpret_cast<intptr_t*>(io), free_io, clone_io, open_io, close_io,
                                     read_io, write_io, seek_io, exists_io, is_open_io, size_io,
                                     LIBBFIO_FLAG_IO_HANDLE_MANAGED | LIBBFIO_FLAG_IO_HANDLE_CLONE_BY_FUNCTION,
                                     error) == 1;
  });
  if (made) return handle;
  delete io;
  return nullptr;
}

// The GUID as Windows writes it: its first three fields are little-endian.
std::string guid_text(const std::array<uint8_t, 16>& bytes) {
  const vk::le_reader guid(bytes);
  std::string text = vk::hex(guid.u32(0), 8) + "-" + vk::hex(guid.u16(4), 4) + "-" + vk::hex(guid.u16(6), 4) + "-";
  for (size_t i = 8; i < bytes.size(); ++i) {
    if (i == 10) text += '-';
    text += vk::hex(guid.u8(i), 2);
  }
  return text;
}

struct store_handle {
  libvshadow_store_t* store = nullptr;
  explicit store_handle(libvshadow_volume_t* volume, int index) {
    vshadow_call([&](libvshadow_error_t** error) { return libvshadow_volume_get_store(volume, index, &store, error); });
  }
  store_handle(const store_handle&) = delete;
  store_handle& operator=(const store_handle&) = delete;
  ~store_handle() {
    if (store == nullptr) return;
    vshadow_call([&](libvshadow_error_t** error) { return libvshadow_store_free(&store, error); });
  }
};

shadow_store_info describe_store(libvshadow_volume_t* volume, int index, std::array<uint8_t, 16>& guid) {
  shadow_store_info info;
  info.number = static_cast<uint32_t>(index) + 1;
  const store_handle handle(volume, index);
  info.readable =
      handle.store != nullptr && vshadow_call([&](libvshadow_error_t** error) {
        return libvshadow_store_get_identifier(handle.store, guid.data(), guid.size(), error) == 1 &&
               libvshadow_store_get_creation_time(handle.store, &info.creation_time, error) == 1 &&
               libvshadow_store_get_size(handle.store, &info.size, error) == 1;
      });
  if (info.readable) info.identifier = guid_text(guid);
  return info;
}

// A store read through the library; the volume's objects live as long as
// the store's disk.
class shadow_store_disk final : public disk {
 public:
  shadow_store_disk(std::shared_ptr<shadow_volume> volume, int index, uint64_t size)
      : m_volume(std::move(volume)), m_store(m_volume->volume, index), m_size(size) {}

  bool is_open() const override { return m_store.store != nullptr; }
  uint64_t size() const override { return m_size; }
  uint64_t failed_reads() const override { return m_failed_reads; }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (!is_open()) return 0;
    return read_counted(offset, buffer, m_size, m_failed_reads, [this](uint8_t* data, size_t length, uint64_t at) {
      return vshadow_call([&](libvshadow_error_t** error) {
        return libvshadow_store_read_buffer_at_offset(m_store.store, data, length, static_cast<off64_t>(at), error);
      });
    });
  }

 private:
  std::shared_ptr<shadow_volume> m_volume;
  store_handle m_store;
  uint64_t m_size = 0;
  uint64_t m_failed_reads = 0;
};

}  // namespace

shadow_volume::~shadow_volume() {
  if (opened) vshadow_call([&](libvshadow_error_t** error) { return libvshadow_volume_close(volume, error); });
  if (volume != nullptr)
    vshadow_call([&](libvshadow_error_t** error) { return libvshadow_volume_free(&volume, error); });
  if (handle != nullptr) bfio_call([&](libbfio_error_t** error) { return libbfio_handle_free(&handle, error); });
}

bool shadow_copies_supported() { return true; }

namespace {

// Where the volume lies on its disk, for the checks slix makes itself.
struct volume_place {
  disk& source;
  uint64_t offset;
  uint64_t size;
};

// libvshadow opens the catalog and reads every store header, once slix has
// checked those headers; the number of stores, or nothing when either refuses.
std::optional<int> open_catalog(shadow_volume& volume, const volume_place& place,
                                const std::vector<shadow_store_lists>& lists) {
  if (!store_headers_sound(place.source, place.offset, place.size, lists)) return std::nullopt;
  volume.opened = vshadow_call([&](libvshadow_error_t** error) {
    return libvshadow_volume_initialize(&volume.volume, error) == 1 &&
           libvshadow_volume_open_file_io_handle(volume.volume, volume.handle, LIBVSHADOW_OPEN_READ, error) == 1;
  });
  int count = 0;
  if (!volume.opened || vshadow_call([&](libvshadow_error_t** error) {
        return libvshadow_volume_get_number_of_stores(volume.volume, &count, error);
      }) != 1)
    return std::nullopt;
  return count;
}

// Each store as the catalog describes it, and whether its lists are sound.
void describe_stores(shadow_opening& opening, shadow_volume& volume, const volume_place& place,
                     const std::vector<shadow_store_lists>& lists, int count) {
  for (int index = 0; index < count; ++index) {
    std::array<uint8_t, 16> guid{};
    opening.stores.push_back(describe_store(volume.volume, index, guid));
    const auto entry =
        std::find_if(lists.begin(), lists.end(), [&](const shadow_store_lists& l) { return l.guid == guid; });
    volume.lists_sound.push_back(opening.stores.back().readable && entry != lists.end() &&
                                 store_lists_sound(place.source, place.offset, place.size, *entry));
  }
}

}  // namespace

shadow_opening open_shadow_copies(disk& source, uint64_t volume_offset) {
  shadow_opening opening;
  if (volume_offset >= source.size()) return opening;
  auto volume = std::make_shared<shadow_volume>();
  volume->handle = make_volume_handle(source, volume_offset);
  if (volume->handle == nullptr) return opening;
  const int signature = vshadow_call([&](libvshadow_error_t** error) {
    return libvshadow_check_volume_signature_file_io_handle(volume->handle, error);
  });
  if (signature != 1) return opening;
  opening.catalog = shadow_catalog::damaged;
  const volume_place place{source, volume_offset, source.size() - volume_offset};
  const std::optional<std::vector<shadow_store_lists>> lists = read_store_lists(source, place.offset, place.size);
  if (!lists) return opening;
  const std::optional<int> count = open_catalog(*volume, place, *lists);
  if (!count) return opening;
  opening.catalog = shadow_catalog::read;
  describe_stores(opening, *volume, place, *lists, *count);
  opening.volume = std::move(volume);
  return opening;
}

std::unique_ptr<disk> open_shadow_store(const std::shared_ptr<shadow_volume>& volume, uint32_t number) {
  if (!volume || number == 0 || number > volume->lists_sound.size()) return nullptr;
  // An older store's reads go on through the lists of every newer one.
  for (size_t newer = number - 1; newer < volume->lists_sound.size(); ++newer)
    if (!volume->lists_sound[newer]) return nullptr;
  const int index = static_cast<int>(number - 1);
  std::array<uint8_t, 16> guid{};
  const shadow_store_info info = describe_store(volume->volume, index, guid);
  if (!info.readable) return nullptr;
  auto store = std::make_unique<shadow_store_disk>(volume, index, info.size);
  if (!store->is_open()) return nullptr;
  return store;
}

#else  // built without libvshadow

class shadow_volume {};

bool shadow_copies_supported() { return false; }

shadow_opening open_shadow_copies(disk&, uint64_t) { return shadow_opening{.catalog = shadow_catalog::not_built}; }

std::unique_ptr<disk> open_shadow_store(const std::shared_ptr<shadow_volume>&, uint32_t) { return nullptr; }

#endif
