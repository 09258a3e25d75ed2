// Names compared without regard to case, as NTFS compares them: both names
// upper-cased code unit by code unit with the volume's $UpCase table (MFT
// entry 10: 65536 little-endian u16 values, the upper case of every UTF-16
// code unit).  The table is the volume's own, so a name matches exactly when
// Windows would find it on that volume.  When it cannot be read, a fixed
// fold stands in: ASCII, Latin-1, Latin Extended-A, unaccented Greek and
// basic Cyrillic capitals to their small letters.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class CNtfs;

class name_folding {
 public:
  // The fixed fold.
  name_folding() = default;
  // The volume's table; `upcase` holds one unit per UTF-16 code unit.
  explicit name_folding(std::vector<char16_t> upcase) : m_upcase(std::move(upcase)) {}

  // The name, UTF-8, folded: two names match when their folds are equal.
  std::u16string fold(std::string_view name) const;

 private:
  std::vector<char16_t> m_upcase;
};

// The folding of `volume`: its $UpCase table, or the fixed fold when the
// table cannot be read whole.
name_folding folding_of_volume(CNtfs& volume);
