#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lists the devices, then prints COUNT events: events.py [COUNT]. TARNI_LIBRARY
names the library where the dynamic linker does not find it."""
import ctypes
import os
import queue
import sys


class Event(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int32), ("path", ctypes.c_char * 256)]


class Device(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint16) for name in (
        "pid", "vid", "port_num", "num_ports", "reserved", "dev_num", "bus_num", "dev_cls")] + [
        (name, ctypes.c_char * 256) for name in (
            "manufacturer", "product", "serial", "sysfs_path")]


Callback = ctypes.CFUNCTYPE(None, Event)


def load():
    library = ctypes.CDLL(os.environ.get("TARNI_LIBRARY", "libtarni.so.0"))
    # A finder is a pointer; left to itself, ctypes cuts it to 32 bits.
    library.tarni_open.restype = ctypes.c_void_p
    for name, arguments in (("close", []), ("init", []), ("subscribe_all", [Callback]),
                            ("get_device_list", []), ("free_device_list", [ctypes.c_int]),
                            ("get_next_device", [ctypes.c_int]),
                            ("get_device_info", [ctypes.c_int, ctypes.POINTER(Device)])):
        getattr(library, "tarni_" + name).argtypes = [ctypes.c_void_p] + arguments
    return library


def printable(text):
    """Text from a device, which can hold anything."""
    return ascii(text.decode("utf-8", "replace"))


def divert_library():
    """The library writes to descriptors 1 and 2: gives it another place to do so."""
    sys.stdout = os.fdopen(os.dup(1), "w", buffering=1)
    sys.stderr = os.fdopen(os.dup(2), "w", buffering=1)
    for descriptor in 1, 2:
        os.dup2(os.open(os.devnull, os.O_WRONLY), descriptor)


def devices(library, finder):
    number = library.tarni_get_device_list(finder)
    while library.tarni_get_next_device(finder, number) >= 0:
        device = Device()  # ctypes zeroes it
        if library.tarni_get_device_info(finder, number, ctypes.byref(device)) == 0:
            yield device
    library.tarni_free_device_list(finder, number)


def main(count):
    divert_library()
    library = load()
    finder = library.tarni_open()
    for device in devices(library, finder):
        print(f"{device.vid:04x}:{device.pid:04x} {printable(device.product)}")
    # The callback has a name, as it must live for as long as the finder.
    events = queue.SimpleQueue()
    callback = Callback(lambda event: events.put(f"event {event.type} {printable(event.path)}"))
    library.tarni_subscribe_all(finder, callback)
    started = library.tarni_init(finder) >= 0
    for _ in range(count if started else 0):
        print(events.get())
    library.tarni_close(finder)
    return 0 if started else "events.py: no USB topology manager"


if __name__ == "__main__":
    if not all(argument.isdigit() for argument in sys.argv[1:]):
        sys.exit(__doc__)
    sys.exit(main(int(sys.argv[1]) if len(sys.argv) > 1 else sys.maxsize))
