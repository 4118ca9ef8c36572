// SPDX-License-Identifier: Apache-2.0
#include <plexor/cycle.h>

#include "tools/plexorctl/command.h"

namespace plexor::ctl
{
namespace
{

static_assert(most_bytes_read == 64 && most_bytes_written == 132 && PLEXOR_CYCLE_LONGEST == 9999,
              "the summaries tell these numbers");

constexpr Option all_options[] = {
    {"json", 'j', "", true, "print the result as one line of JSON"},
    {"verbose", 'v', "", true, "show on standard error what the library prints"},
    {"watch", 'w', "", false, "show it again every second until interrupted"},
    {"source", 's', "LABEL", false, "who switches, for log and journal"},
    {"direct", 'd', "", false, "set a level past the mode register"},
    {"to", 't', "ADDRESSES", false, "recipients, not the stored ones"},
    {"subject", 'S', "TEXT", false, "subject of the mail"},
    {"body", 'b', "TEXT", false, "text of the mail"},
    {"snapshot", 'p', "", false, "attach the camera's latest picture"},
    {"on-first", 'o', "", false, "switch the outlet on first, and off in the end"},
    {"yes", 'y', "", false, "do it without asking"},
    {"address", 'a', "A.B.C.D", false, "address of the interface"},
    {"netmask", 'm', "A.B.C.D", false, "netmask of the interface"},
    {"gateway", 'g', "A.B.C.D", false, "the only gateway of the interface"},
    {"dns", 'n', "A.B.C.D", false, "the only name server"},
    {"up", 'u', "", false, "bring the interface up"},
    {"down", 'D', "", false, "take the interface down"},
    {"help", 'h', "", true, "explain plexorctl or the command given (as JSON: the command table)"},
    {"version", 'V', "", true, "print the version"},
};

constexpr const char *switching_details =
    "Several outlets are switched one after the other, the lowest first. LABEL has 1 to 64\n"
    "bytes; without --source it is plexorctl.\n";

constexpr Command all_commands[] = {
    {"info", "", "", 0, 0, "tell which board this is", "", info},

    {"outlet", "list", "", 0, 0, "show the state of every outlet", "", outlet_list},
    {"outlet", "on", "N...", 1, 8, "switch outlets on, with the beep, trap and journal entry of each",
     switching_details, outlet_on, Numbers::outlets, "s"},
    {"outlet", "off", "N...", 1, 8, "switch outlets off, with the beep, trap and journal entry of each",
     switching_details, outlet_off, Numbers::outlets, "s"},
    {"outlet", "all", "MASK|on|off", 1, 1, "switch every outlet at once",
     "Bit 0 of MASK is outlet 1; a set bit means on, a clear one off.\n", outlet_all, Numbers::outlets},
    {"outlet", "set", "N=on,M=off", 1, 1, "switch several outlets at once, leaving the others as they are",
     "A power loss brings back the states from before this command where the start-up\n"
     "state is \"last\".\n",
     outlet_set, Numbers::outlets},
    {"outlet", "default", "[STATE...]", 0, 8, "show the start-up states, or set them for good",
     "STATE is off, on, or last (as before the power loss; not on boards with GPIO-driven\n"
     "relays); one for each outlet, or one for all.\n",
     outlet_default},
    {"outlet", "cycle", "N SECONDS", 2, 2, "switch outlet N off, and on again after 1 to 9999 seconds",
     "plexord switches it back. An outlet that is cycling cannot be cycled again, which would\n"
     "abandon every running cycle. One that would end after midnight starts over at midnight,\n"
     "and does not end by itself.\n",
     outlet_cycle, Numbers::outlets, "o"},

    {"cycles", "", "", 0, 0, "show the power cycle of every outlet",
     "With --watch they are shown every second, in place on a terminal.\n", cycles, Numbers::none, "w"},

    {"off-delay", "", "N", 1, 1, "switch outlet N off after its off delay, and tell the network before",
     "The delay is the outlet's field of the parameter OFFDelay_PX, where fields that are empty\n"
     "do not count; plexord counts it down. Nothing is switched in the end unless the parameter\n"
     "wol_sol_trigger is 1. A delay that is counting already is not prolonged.\n",
     off_delay, Numbers::outlets},

    {"wol", "", "N", 1, 1, "wake the computer behind outlet N",
     "Its Ethernet address is the outlet's field of the parameter WakeOnLan_PX, where fields that\n"
     "are empty do not count. Whether the packet arrives is not known here.\n",
     wol, Numbers::outlets},

    {"schedule", "list", "", 0, 0, "list the schedule records, and whether their copies agree",
     "Records are numbered 0 to 29. The board controller keeps a copy of the first five, which\n"
     "survives a reset of the parameters.\n",
     schedule_list},
    {"schedule", "write", "N RECORD [COMPANION]", 2, 3, "store schedule record N, and its copy",
     "RECORD has 33 characters, or 35 with the record's number plus one in two digits before\n"
     "them. COMPANION is 8 fields of 3 characters with \";\" between them; without it, an empty\n"
     "one is stored.\n",
     schedule_write, Numbers::plain},
    {"schedule", "delete", "N", 1, 1, "delete schedule record N; later ones move down", "", schedule_delete,
     Numbers::plain},
    {"schedule", "restore", "", 0, 0, "bring schedules back after a reset of the parameters",
     "The administrator's name and password come back as well, where they were copied.\n", schedule_restore},

    {"factory-reset", "", "", 0, 0, "switch every outlet off and empty the copies of schedules",
     "The board controller's outlet states and copies of schedules are emptied. Its copies of the\n"
     "administrator's name and password stay, and a later schedule restore can bring them back.\n"
     "The parameters stay as they are. It is asked for, on a terminal, unless --yes is given.\n",
     factory_reset, Numbers::none, "y"},

    {"net", "show", "[INTERFACE]", 0, 1, "show address, gateway and name server",
     "INTERFACE is br0 unless given.\n", net_show},
    {"net", "set", "[INTERFACE]", 0, 1, "set addresses, and take the interface up or down",
     "INTERFACE is br0 unless given. Every value is looked at before anything is changed. The\n"
     "kernel gives a new address the netmask of its class unless --netmask is given, and takes\n"
     "routes away with the old one. Nothing is kept over a restart.\n",
     net_set, Numbers::none, "amgnuD"},

    {"led", "outlet", "N on|off", 2, 2, "light or darken the LED of outlet N", "", led_outlet,
     Numbers::outlets},
    {"led", "all", "MASK", 1, 1, "set every outlet LED",
     "Bit 0 of MASK is the LED of outlet 1; a set bit lights it.\n", led_all, Numbers::outlets},
    {"led", "wifi", "on|off", 1, 1, "set the Wi-Fi LED", "", led_wifi},
    {"led", "usb", "on|off", 1, 1, "set the USB LED", "", led_usb},

    {"beep", "", "N", 1, 1, "sound a beep pattern",
     "N is 0 silence, 1 one short beep, 2 three short, 3 three long, 4 three chirps.\n", beep_pattern,
     Numbers::plain},

    {"gpio", "read", "GROUP", 1, 1, "read the levels of a bank of 32 lines",
     "GROUP is 0 for lines 0 to 31, 1 for 32 to 63, 2 for 64 to 95.\n", gpio_read, Numbers::plain},
    {"gpio", "write", "GROUP WORD", 2, 2, "write the levels of a bank; lines that are outputs follow", "",
     gpio_write, Numbers::plain},
    {"gpio", "dir", "LINE in|out", 2, 2, "set the direction of a line, 0 to 95", "", gpio_direction,
     Numbers::plain},

    {"i2c", "read", "DEV REG LEN", 3, 3, "read 1 to 64 bytes of a device, past the cache",
     "DEV is the 8-bit bus address, 0xA0 for the board controller.\n"
     "It is read twice: bytes that the bus left as they were, both times, tell that no device\n"
     "answered.\n",
     i2c_read, Numbers::plain},
    {"i2c", "write", "DEV REG BYTE...", 3, 2 + most_bytes_written, "write 1 to 132 bytes to a device",
     "DEV is the 8-bit bus address. Nothing tells whether the device answered.\n", i2c_write, Numbers::plain},
    {"i2c", "scan", "", 0, 0, "look for the LCD adapter", "", i2c_scan},

    {"sensor", "", "", 0, 0, "show current, temperature, voltage and humidity",
     "Temperature and humidity are shown where the board has a sensor for them. Raw readings\n"
     "that nobody has taken count as 0. With --watch they are shown every second.\n",
     sensor, Numbers::none, "w"},

    {"io", "show", "", 0, 0, "show digital inputs, dry contact and digital outputs",
     "Of an output both are shown, the mode that was recorded last and the one that the I/O\n"
     "controller says. The library knows four inputs and four outputs on every model; those that\n"
     "the model has no terminal for are marked.\n",
     io_show},
    {"io", "set", "N MODE VALUE...", 3, 4, "set digital output N, 1 to 4",
     "MODE and VALUE are level 0|1, pulse COUNT (0 to 999999), frequency HZ (0 to 65535, on\n"
     "output 1 to 65534), pwm FREQUENCY WIDTH (0 to 10, 0 to 255; output 1 only), or mode 10,\n"
     "12, 13 or 14, which are the I/O controller's own business. An output that the model has no\n"
     "terminal for is set all the same, and marked.\n",
     io_set, Numbers::plain, "d"},

    {"mail", "test", "", 0, 0, "send a mail with the stored settings",
     "It is handed to the mail client, or to the camera's process where email_pic is 1 and neither\n"
     "--to nor --snapshot is given. Whether it arrives is not known here; --verbose shows what the\n"
     "client says. Recipients, stored or given, are 1 to 127 bytes, a subject up to 98, a text up to 6914.\n",
     mail_test, Numbers::none, "tSbp"},

    {"trap", "test", "[MESSAGE]", 0, 1, "send an SNMP trap with the stored settings",
     "It is a failure when the settings say that there are no traps.\n", trap_test},

    {"journal", "show", "", 0, 0, "show the entries of the alert journal",
     "An entry that cannot be understood is shown as it stands there. A journal that is missing is\n"
     "an empty one: somebody collects the entries and removes it. On boards with two or four outlets\n"
     "and relays on the chain, an entry tells what the outlets' LEDs showed.\n",
     journal_show},

    {"param", "get", "KEY", 1, 1, "print a parameter; one that is not set is empty", "", param_get},
    {"param", "set", "KEY VALUE", 2, 2, "set a parameter; a power loss undoes it unless it is committed",
     "Put -- before the arguments when VALUE starts with a minus sign.\n", param_set},
    {"param", "list", "", 0, 0, "list the parameters that are set, of those the product knows",
     "The store cannot be asked for its keys: a key that the product does not know is not\n"
     "listed; param get prints it all the same. JSON has the meaning of each key.\n",
     param_list},
    {"param", "commit", "", 0, 0, "write the parameters to flash", "", param_commit},
};

} // namespace

std::span<const Command> commands()
{
    return all_commands;
}

std::span<const Option, option_count> options()
{
    return all_options;
}

} // namespace plexor::ctl
