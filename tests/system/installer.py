#!/usr/bin/python3
"""Calls the service that installs helpers, as any program can; prints the answer, or the error's last part and text.

    installer.py install LABEL FILE | remove LABEL | authorise RIGHT PROMPT

FILE may also be "pipe" or "nothing" (a handle without a descriptor). "+w" before a path opens it for writing, "+p" as a
mere path.
"""
import os
import sys

from gi.repository import Gio, GLib

NAME, OBJECT = 'org.corvane.Helpers', '/org/corvane/Helpers'
MODES = {'+w': os.O_WRONLY, '+p': os.O_PATH}


def descriptors(file):
    files = Gio.UnixFDList()
    if file == 'pipe':
        files.append(os.pipe()[0])
    elif file != 'nothing':
        mode = MODES.get(file[:2])
        files.append(os.open(file[2:], mode) if mode else os.open(file, os.O_RDONLY | os.O_NONBLOCK))
    return files


def main(method, *arguments):
    files = None
    if method == 'install':
        files = descriptors(arguments[1])
        values = GLib.Variant('(sh)', (arguments[0], 0))
    else:
        values = GLib.Variant('(' + 's' * len(arguments) + ')', arguments)
    bus = Gio.bus_get_sync(Gio.BusType.SYSTEM)
    try:
        answer, _ = bus.call_with_unix_fd_list_sync(NAME, OBJECT, NAME + '1', method.capitalize(), values, None,
                                                    Gio.DBusCallFlags.ALLOW_INTERACTIVE_AUTHORIZATION, 60000, files)
        print('ok', *answer)
    except GLib.Error as error:
        name = Gio.DBusError.get_remote_error(error)
        print(name.rsplit('.', 1)[-1] + ':', error.message.split(name + ': ')[-1])


main(*sys.argv[1:])
