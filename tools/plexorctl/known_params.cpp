// SPDX-License-Identifier: Apache-2.0
#include "tools/plexorctl/known_params.h"

namespace plexor::ctl
{
namespace
{

constexpr KnownParam all_params[] = {
    // The board and its outlets
    {"IO_number", "model index, 0 to 11, set when the board boots"},
    {"SPI_buf_1", "off mask of the outlets, hexadecimal"},
    {"default_status_PX", "start-up state of each outlet: 0 off, 1 on, 2 as before the power loss"},
    {"default_status_PX1", "start-up state of each outlet with GPIO-driven relays: 0 off, 1 on"},
    {"beep_alarm_PX", "1 for outlets that beep when switched"},
    {"email_alarm_PX", "non-zero for outlets that cause an alert mail when switched"},
    {"cycle_time_PX", "length of each outlet's power cycle, seconds"},
    {"OFFDelay_PX", "off delay of each outlet, seconds"},
    {"wol_sol_trigger", "1 lets an off delay that has run out switch its outlet off"},
    {"DbgPic", "1 prints every I2C transfer"},
    // Schedules
    {"schedule#", "schedule record", 0, 29},
    {"schedule#t", "companion of the schedule record, one field an outlet", 0, 29},
    {"reflash", "9 when the schedules and their copy in the board controller agree"},
    // Measurements
    {"sIICAmp_PX", "raw current reading of each outlet"},
    {"sIICTemp", "raw temperature reading"},
    {"sIICVolt", "raw voltage reading"},
    {"sAmp_PX", "current of the external meter: amperes, tenths"},
    {"sTEmp_PX", "external sensor: humidity, its tenths, degrees, their tenths"},
    {"correction_ampL_Px", "current correction of each outlet in the low range, amperes"},
    {"correction_ampH_Px", "current correction of each outlet in the high range, amperes"},
    {"correction_temp", "temperature correction, degrees Celsius"},
    {"correction_vlot", "voltage correction, volts"},
    {"CDC_type_#", "type of the USB sensor: 8870 current, 8871 humidity and temperature", 1, 8},
    {"CDC_buf_#", "last reading of the USB sensor", 1, 8},
    // Digital inputs and outputs, dry contact
    {"sIICDi", "state of the dry contact, bit 0 set for a loopback and clear when open"},
    {"sDOMode_PX", "mode of each digital output"},
    {"Pulse_PX", "pulse count of each digital output"},
    {"FREQ_PX", "frequency of each digital output"},
    {"PFREQ_PX", "PWM frequency of digital output 1"},
    {"PWidth_PX", "PWM width of digital output 1"},
    {"DI1_action", "what a dry-contact change does to each outlet: 1 off, 2 on, 3 power cycle"},
    {"sDIBeep_PX", "first field 1: a dry-contact change beeps"},
    {"sDIMail_PX", "first field 1: a dry-contact change causes an alert mail"},
    // Display
    {"Lcdaddr", "bus address of the display's adapter"},
    // Modbus
    {"master_rtu_slaveid", "address of the Modbus slave"},
    {"master_rtu_baud", "Modbus line speed, 300 to 115200"},
    {"master_rtu_parity", "Modbus parity: 0 none, 1 odd, 2 even"},
    {"master_rtu_databits", "Modbus data bits, 7 or 8"},
    // Mail and camera
    {"email_from", "sender of alert mails"},
    {"email_to", "recipients of alert mails"},
    {"email_to_PX", "further recipients of alert mails"},
    {"email_user", "login name at the mail server"},
    {"email_pwd", "password at the mail server"},
    {"email_smtp", "mail server"},
    {"email_port", "port of the mail server"},
    {"email_tls", "1 or tls requires an encrypted connection"},
    {"email_pic", "1 adds a camera snapshot to alert mails"},
    {"IOMailWriting", "1 while an entry is written to the alert journal"},
    {"WebCamResolution", "resolution of the camera"},
    {"WebCamFPS", "frames per second of the camera"},
    {"WebCamPort", "port of the camera's stream"},
    {"WebCamMode", "mode of the camera"},
    // Traps and messages to other machines
    {"snmp_enable", "1 sends a trap when an outlet is switched"},
    {"snmp_trap_dest_type", "trap version: 0 version 1, 9 none, others version 2c"},
    {"snmp_trap_dest_community", "community of traps"},
    {"snmp_trap_dest_host", "receiver of traps"},
    {"mqtt_enable", "1 turns the MQTT connector on"},
    {"mqtt_connect", "1 while the MQTT connector has its broker"},
    {"interop_enable", "1 tells the MQTT connector of single outlets"},
    {"WakeOnLan_PX", "Ethernet address to wake for each outlet, 12 hexadecimal digits"},
    // Administration
    {"Login", "name of the administrator"},
    {"Password", "password of the administrator"},
    {"web_port", "port of the web interface"},
    // Network
    {"OperationMode", "1 leaves the resolver file alone"},
    {"FirstCfgTag", "first configuration; gates the fallback address of the LAN"},
    {"RadioOff", "wireless off; gates the fallback address of the LAN"},
    {"port0_link", "non-zero while the wired port has a link"},
    {"DefaultGW", "interface preferred for the default route"},
    {"ethConnectionMode", "DHCP when the LAN gets its address that way"},
    {"wanConnectionMode", "DHCP when the wireless side gets its address that way"},
    {"lan_ipaddr", "address on the LAN"},
    {"lan_netmask", "network mask of the LAN"},
    {"lan_gateway", "gateway of the LAN"},
    {"wan_gateway", "gateway of the other interfaces"},
    {"wan_primary_dns", "first name server"},
    {"wan_secondary_dns", "second name server"},
    {"dhcpEnabled", "DHCP server on the LAN; gates the fallback address of the LAN"},
    {"dhcpStart", "first address that the DHCP server gives"},
    {"dhcpEnd", "last address that the DHCP server gives"},
};

} // namespace

std::span<const KnownParam> known_params()
{
    return all_params;
}

} // namespace plexor::ctl
