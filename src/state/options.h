// The option set: everything that the command line and the grammar file can ask for. There is one
// of it, `opt`; SetDefaultValues resets it once at the start of the run. Switches are 0 or 1.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tolvane {

// Widths of names, in characters.
inline constexpr std::size_t kNameWidth = 256;          // files
inline constexpr std::size_t kFieldNameWidth = 32;      // copybook fields
inline constexpr std::size_t kFileArgumentWidth = 200;  // the argument of -f
inline constexpr std::size_t kVolumeWidth = 8;
inline constexpr std::size_t kLabelWidth = 16;
inline constexpr std::size_t kRawNames = 100;
inline constexpr std::size_t kRawNameWidth = 30;
inline constexpr int kKeys = 10;

// One key of the indexed output file.
struct KeyEntry {
  std::string name;            // the copybook field that gives location and length
  bool duplicates = true;      // the duplicates flag, "Y" or "N" in records
  bool changes = true;         // the changes flag
  std::int32_t location = -1;  // byte position, as written in the option
  std::int32_t length = -1;    // bytes
};

// The ten keys, the first of which is the prime key: no duplicates and no changes.
struct KeyTable : std::array<KeyEntry, kKeys> {
  KeyTable() { front().duplicates = front().changes = false; }
};

// The name of a key that was given by position: it has no copybook field.
inline constexpr const char* kKeyByPosition = "{{{{";

using Switch = std::int16_t;

struct OptionSet {
  // Names.
  std::string infile;       // input of backup and restore (-fi)
  std::string outfile;      // output of create, delete, status, backup and restore (-fo)
  std::string copyfile;     // COBOL copybook (-C, -R)
  std::string maskfile;     // receives the mask list built from -C (-F)
  std::string optFileName;  // grammar file (-G)
  std::string addsysfile;   // file whose definition is added to the catalogue (-a)
  std::string vol;          // tape volume name
  std::string lbl;          // tape label
  std::string hmvsn;        // volume of a DEFINE statement, 8 characters
  std::string hmlbl;        // label of a DEFINE statement, 44 characters
  std::string holdenvpath;  // the OUTPUT path exactly as written

  std::vector<std::string> rawfield;  // fields to leave as they are, by name

  Switch optionsFileFlag = 0;  // a grammar file was named
  Switch bCopyBookFlag = 0;    // a copybook was named

  // Operations.
  Switch sw_backup = 0;
  Switch sw_restore = 0;
  Switch sw_create = 0;
  Switch sw_delete = 0;
  Switch sw_status = 0;
  Switch sw_addsys = 0;      // add the definition of addsysfile to the system file
  Switch sw_addcatlg = 0;    // add to the catalogue
  Switch sw_read_cat = 0;    // take the file's definition from the catalogue
  Switch sw_report = 0;      // report the binary fields of copyfile (-R)
  Switch sw_report_sum = 0;  // ... in one summary line (-RS)
  Switch sw_data_reorg = 0;
  Switch sw_9to8 = 0;  // 9-bit to 8-bit conversion (-8)
  Switch sw_analyze = 0;
  Switch sw_mask_file = 0;  // write the mask list to maskfile
  Switch sw_print_mask = 0;

  // Target file.
  Switch sw_indexed = 0;
  Switch sw_relative = 0;
  Switch sw_sequential = 0;
  Switch sw_dups_4 = 0;     // duplicate counters of four bytes
  Switch sw_overwrite = 0;  // an existing record may be overwritten
  Switch sw_upper_case = 0;

  // Form of the backup.
  Switch sw_os3 = 0;
  Switch sw_interchange = 0;  // OS/1100 8-bit interchange form
  Switch sw_msdos = 0;
  Switch sw_unix = 0;
  Switch sw_sdf = 0;
  Switch sw_eltfile = 0;      // element file in @COPOUT format
  Switch sw_fixedBR = 1;      // fixed blocks and records
  Switch sw_postprocess = 1;  // post-process elements
  Switch sw_ins_lf = 0;       // insert line feeds (-Y)

  // Conversion.
  Switch sw_ebcdic = 0;          // translate data to EBCDIC
  Switch sw_ascii = 0;           // the backup is EBCDIC: translate to ASCII
  Switch sw_ascii_sign = 0;      // translate signs to ASCII signs
  Switch sw_mbp = 0;             // MBP COBOL
  Switch sw_mf = 0;              // Micro Focus COBOL
  Switch sw_signed_numeric = 0;  // a -U field was given
  Switch sw_EbcSign = 0;         // keep EBCDIC signs in unpacked fields
  Switch sw_1toX = 0;            // bit fields become characters
  Switch sw_truncate1 = 0;       // ... truncated
  Switch sw_relaxed = 0;
  Switch sw_relaxed_sign = 0;
  Switch sw_relaxed_fill = 0;
  Switch sw_matchId = 0;   // report records that match no condition
  Switch sw_validate = 0;  // check packed fields
  Switch sw_explode = 0;
  Switch sw_expLeading = 1;
  Switch sw_expTrailing = 0;
  Switch expandDateFlag = 0;  // a DATE IS statement was given
  Switch sw_testdate = 0;
  Switch sw_filedate = 0;
  Switch sw_savesym = 0;  // save the copybook's symbol table (-W)

  // Console.
  Switch sw_automatic = 0;   // answer every question automatically
  Switch sw_quiet = 0;       // no conversion progress
  Switch sw_first_time = 1;  // the first binary-field report line is not yet printed
  Switch sw_dupsfound = 0;   // duplicates were met

  std::uint8_t relaxedFillChar = 0;

  std::int64_t nBegRec = 0;           // records to skip (-y)
  std::int64_t nEndRec = 0x40000000;  // stop after this many records (-z)
  std::int32_t gblRecSize = 0;        // record size of the data file, bytes (-s)
  std::int32_t gblBlkSize = 0;        // block size of the backup file, bytes (-v)

  std::int32_t nPrimeKeyNo = 0;  // number of the prime key; 1 once a key is given
  KeyTable keyDescr;
};

extern OptionSet opt;

// What the defaults do not touch: zero at the start of the process.
struct LastingOptions {
  std::int32_t nKeysNo = 0;      // number of the key last given
  Switch sw_dates_only = 0;      // ANALYZE DATES ONLY
  Switch bCopyGFlag = 0;         // backup in COPYG form
  Switch ageFlag = 0;            // an AGE statement was read
  Switch sw_nodupsecondary = 0;  // a unique alternate key is built with the file
  Switch sw_merge = 0;           // records go into the existing file
  // Where records that grow have the prime key before they do.
  std::optional<KeyEntry> prime_key_of_input;
  std::string settled_name;  // the name that -g was last asked for and left as it was
};

extern LastingOptions lasting;

// Whether the data has bytes of 9 bits, in 36-bit words.
[[nodiscard]] inline bool IsWordData() { return opt.sw_sdf != 0 || lasting.bCopyGFlag != 0; }

// Whether the platform file is an indexed one, which it is unless the options say otherwise.
[[nodiscard]] inline bool IsIndexedFile() { return opt.sw_relative == 0 && opt.sw_sequential == 0; }

// Whether records go from one file to another.
[[nodiscard]] inline bool IsTransfer() { return opt.sw_backup != 0 || opt.sw_restore != 0; }

// Whether restored records grow, by explosion or by wider dates.
[[nodiscard]] inline bool RecordsGrow() { return opt.sw_explode != 0 || opt.expandDateFlag != 0; }

// The entry of a key.
[[nodiscard]] inline KeyEntry& KeyOf(std::int32_t number) {
  return opt.keyDescr[static_cast<std::size_t>(number - 1)];
}

}  // namespace tolvane
