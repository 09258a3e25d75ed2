#include <string>

#include "app/command_line.h"
#include "support/message.h"

namespace {

constexpr const char* usage_text =
    "slix - lists the entries of NTFS directory indexes ($I30), live and from slack\n"
    "reads INDX records, raw disk images and VMware disks; never writes to its sources\n"
    "-----------------------------------------------------------------------------\n"
    "\n"
    "slix ver: 0.58\n"
    "\n"
    "Usage\n"
    "\n"
    " slix [source of NTFS volume] [item to analyze] [output options]\n"
    "\n"
    " [source of NTFS volume options]\n"
    "  -image <file> [-offset <vol>] [-path <dir>] = src is dd image\n"
    "  -vmdk \"disk1 | ...\" [-path <dir>]           = VMWare disk(s)\n"
    "  -indxfile <indx datafile>                   = INDX file\n"
    "\n"
    " [suboption for above src opts - cannot be used with (-indxfile)]\n"
    "  -mft <dir inode to analyze>  \n"
    "\n"
    " Basic options\n"
    "  -csv                   = output in comma separated value format\n"
    "  -csvl2t                = log2timeline output\n"
    "  -bodyfile              = sleuthkit output\n"
    "  -valid                 = output only valid entries (default)\n"
    "\n"
    " Additional options\n"
    "  -nodups                = output w/ no duplicate records\n"
    "  -slack                 = output only slack entries\n"
    "  -all                   = output both valid and slack entries\n"
    "  -level <num>           = recurse # levels [default is 0 levels]\n"
    "  -base10                = output in base10 vice std::hex\n"
    "  -username <name>       = output will contain this username\n"
    "  -hostname <name>       = output will contain this hostname\n"
    "  -dateformat mm/dd/yyyy = \"yyyy-mm-dd\" is the default\n"
    "  -timeformat hh:mm:ss   = \"hh:mm:ss.xxx\" is the default\n"
    "  -pair_datetime         = combine date/time into 1 field for csv\n"
    "  -no_whitespace         = remove whitespace between csv delimiter\n"
    "  -quiet                 = don't display status during run\n"
    "  -csv_separator \"|\"     = use a pipe char for csv separator\n"
    "  -hexdump               = incl std::hex dump [not for -csv options]\n"
    "\n";

}  // namespace

void print_usage() { vk::print_message("%s", usage_text); }
