"""As much of UDisks2 as mounting needs, with a disk that the kernels of test machines may lack: an encrypted one.

/dev/sdx has the partitions sdx1 and sdx3 with file systems, and sdx2, encrypted and unlocked as dm-0, with a file
system. Each request is printed. Runs as root on the system bus; see private-system.
"""
import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

UDISKS = 'org.freedesktop.UDisks2'
ROOT = '/org/freedesktop/UDisks2'
FILE_SYSTEM = UDISKS + '.Filesystem'


def path(name):
    return dbus.ObjectPath(f'{ROOT}/block_devices/{name.replace("-", "_2d")}' if name else '/')


def properties(**values):
    return dbus.Dictionary(values, signature='sv')


class Device(dbus.service.Object):
    def __init__(self, name, disk='', offset=0, decrypts='', clear='', mounts=None):
        super().__init__(bus, path(name))
        self.name, self.mounts = name, mounts
        device = dbus.Array(b'/dev/' + name.encode() + b'\0', signature='y')
        self.fixed = {UDISKS + '.Block': properties(Device=device, CryptoBackingDevice=path(decrypts), HintIgnore=False)}
        if disk:
            self.fixed[UDISKS + '.Partition'] = properties(Table=path(disk), Offset=dbus.UInt64(offset))
        if clear:
            self.fixed[UDISKS + '.Encrypted'] = properties(CleartextDevice=path(clear))

    def interfaces(self):
        points = dbus.Array([dbus.ByteArray(b'/x\0')] * (self.mounts or 0), signature='ay')
        return self.fixed if self.mounts is None else {**self.fixed, FILE_SYSTEM: properties(MountPoints=points)}

    def request(self, verb, mounts, options):
        print(verb, self.name, *options, flush=True)
        self.mounts = mounts

    @dbus.service.method(FILE_SYSTEM, in_signature='a{sv}', out_signature='s')
    def Mount(self, options):
        self.request('Mount', 1, options)
        return '/x'

    @dbus.service.method(FILE_SYSTEM, in_signature='a{sv}')
    def Unmount(self, options):
        self.request('Unmount', self.mounts - 1, options)


class Service(dbus.service.Object):
    @dbus.service.method('org.freedesktop.DBus.ObjectManager', out_signature='a{oa{sa{sv}}}')
    def GetManagedObjects(self):
        return {path(device.name): device.interfaces() for device in devices}


class Manager(dbus.service.Object):
    @dbus.service.method(UDISKS + '.Manager', in_signature='a{sv}a{sv}', out_signature='ao')
    def ResolveDevice(self, specification, options):
        return [path(device.name) for device in devices if '/dev/' + device.name == specification['path']]


bus = dbus.SystemBus(mainloop=dbus.mainloop.glib.DBusGMainLoop())
devices = [Device('dm-0', decrypts='sdx2', mounts=0), Device('sdx3', disk='sdx', offset=3, mounts=2),
           Device('sdx2', disk='sdx', offset=2, clear='dm-0'), Device('sdx1', disk='sdx', offset=1, mounts=0), Device('sdx')]
objects = Service(bus, ROOT), Manager(bus, ROOT + '/Manager'), dbus.service.BusName(UDISKS, bus)
GLib.MainLoop().run()
