#include "apps/common/Command.h"
#include "apps/inspector/commands/Apps.h"
#include "apps/inspector/commands/Attach.h"
#include "apps/inspector/commands/Devices.h"
#include "apps/inspector/commands/Disks.h"
#include "apps/inspector/commands/Get.h"
#include "apps/inspector/commands/Heater.h"
#include "apps/inspector/commands/Helper.h"
#include "apps/inspector/commands/Log.h"
#include "apps/inspector/commands/Login.h"
#include "apps/inspector/commands/Power.h"
#include "apps/inspector/commands/Ps.h"
#include "apps/inspector/commands/Record.h"
#include "apps/inspector/commands/RunCommand.h"
#include "apps/inspector/commands/Settings.h"
#include "apps/inspector/commands/Stalls.h"
#include "apps/inspector/commands/Tree.h"
#include "apps/inspector/commands/View.h"
#include "apps/inspector/text/Candidates.h"

namespace corvane::inspector {

namespace {

constexpr Command COMMANDS[] = {
    {"view", "[OPTION]...", "show the machine's load and the program's repeaters", ViewOptions::HELP, view},
    {"apps", "[--json]", "list the applications that can be looked into", APPS_HELP, apps},
    {"attach", "[OPTION]... NAME|PID", "show a running application's repeaters, queues, listeners and log",
     ViewOptions::ATTACH_HELP, attach},
    {"stalls", "[OPTION]... NAME|PID", "tell what blocks an application's main loop", STALLS_HELP, stalls},
    {"record", "[--for SECONDS] --out FILE NAME|PID", "write a timeline of what an application does", RECORD_HELP,
     record},
    {"log", "[OPTION]...", "show a log", LogOptions::HELP, showLog},
    {"login", "on|off|status", "start the program when the user logs in", LOGIN_HELP, login},
    {"settings", "[--reset] [KEY [VALUE]]", "show or change what the live view remembers", SETTINGS_HELP, settings},
    {"get", "[OPTION]... URL", "make an HTTP request", GET_HELP, get},
    {"heater", "--svg FILE", "plot a heater under three tunings of a PID controller", HEATER_HELP, heater},
    {"tree", "[OPTION]... PATH --svg FILE", "draw a folder as a tree", TREE_HELP, tree},
    {"ps", "[OPTION]...", "list the processes and what they use", PS_HELP, ps},
    {"helper", "install|status|remove", "let a helper of root tell what other users' processes use", HELPER_HELP,
     helper},
    {"devices", "[OPTION]... [CLASS]", "list devices and their properties", DEVICES_HELP, devices},
    {"disks", "[--json]", "list disks and partitions, and where they are mounted", DISKS_HELP, disks},
    {"mount", "[--whole] NAME", "mount a disk or partition", MOUNT_HELP, mount},
    {"unmount", "[--whole] [--force] NAME", "unmount a disk or partition", UNMOUNT_HELP, unmount},
    {"run", "[--json] [--] COMMAND [ARGUMENT]...", "run a command and report what it took", RUN_HELP, runCommand, true},
    {"power", "[--json] [--watch] | --prevent TYPE... [--why TEXT] [--] COMMAND [ARGUMENT]...",
     "list who keeps the machine awake, or keep it awake while a command runs", POWER_HELP, power, true},
};

}  // namespace

}  // namespace corvane::inspector

int main(int argc, char** argv) {
  using namespace corvane::inspector;
  return corvane::runProgram({"corvane-inspector", COMMANDS, {}, true, commandValues()}, argc, argv);
}
