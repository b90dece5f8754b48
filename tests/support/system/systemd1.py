"""As much of process 1's bus name, org.freedesktop.systemd1, as logind needs: units start and stop after a moment.

Each job is printed, such as "StartUnit suspend.target". Runs as root on the system bus; see private-system.
"""
import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

SYSTEMD = 'org.freedesktop.systemd1'
MANAGER = SYSTEMD + '.Manager'
PROPERTIES = 'org.freedesktop.DBus.Properties'
MSEC = {'suspend.target': 300}  # how long a job takes; other units: 30


class Manager(dbus.service.Object):
    jobs = 0

    def job(self, verb, unit):
        print(verb, unit, flush=True)
        self.jobs += 1
        result = (dbus.UInt32(self.jobs), dbus.ObjectPath(f'/org/freedesktop/systemd1/job/{self.jobs}'), unit, 'done')
        GLib.timeout_add(MSEC.get(unit, 30), lambda: self.JobRemoved(*result))
        return result[1]

    @dbus.service.method(MANAGER, in_signature='ss', out_signature='o')
    def StartUnit(self, unit, mode):
        return self.job('StartUnit', unit)

    @dbus.service.method(MANAGER, in_signature='ss', out_signature='o')
    def StopUnit(self, unit, mode):
        return self.job('StopUnit', unit)

    @dbus.service.method(MANAGER, in_signature='ssa(sv)a(sa(sv))', out_signature='o')
    def StartTransientUnit(self, unit, mode, properties, auxiliary):
        return self.job('StartTransientUnit', unit)

    @dbus.service.method(MANAGER)
    def Subscribe(self):
        pass

    @dbus.service.signal(MANAGER, signature='uoss')
    def JobRemoved(self, number, path, unit, result):
        pass


class Units(dbus.service.FallbackObject):
    """Any unit: loaded, inactive and without a job."""
    values = {'ActiveState': 'inactive', 'LoadState': 'loaded', 'Job': dbus.Struct((dbus.UInt32(0), dbus.ObjectPath('/')))}

    @dbus.service.method(PROPERTIES, in_signature='ss', out_signature='v')
    def Get(self, interface, name):
        return self.values.get(name, '')

    @dbus.service.method(SYSTEMD + '.Scope')
    def Abandon(self):
        pass


bus = dbus.SystemBus(mainloop=dbus.mainloop.glib.DBusGMainLoop())
manager = Manager(bus, '/org/freedesktop/systemd1')
units = Units(bus, '/org/freedesktop/systemd1/unit')
owned = dbus.service.BusName(SYSTEMD, bus)
GLib.MainLoop().run()
