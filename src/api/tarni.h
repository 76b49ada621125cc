/* SPDX-License-Identifier: MIT */
/*
 * tarni.h - USB devices and USB topology events for embedded Linux.
 *
 * A host application opens a finder, walks the USB devices of its machine, and
 * is told when the USB topology changes. A whole walk:
 *
 *     void *finder = tarni_open();
 *     int list = tarni_get_device_list(finder);
 *     while (tarni_get_next_device(finder, list) >= 0) {
 *         struct usb_device device = {0};
 *         if (tarni_get_device_info(finder, list, &device) == 0)
 *             printf("%04x:%04x %s\n", device.vid, device.pid, device.product);
 *     }
 *     tarni_free_device_list(finder, list);
 *     tarni_close(finder);
 *
 * Terms
 *   finder       what tarni_open() returns: one independent instance. Finders
 *                share nothing and may be used from different threads freely.
 *   device list  a snapshot of the attached devices, taken once and never
 *                refreshed (but for a disk that was late), named by an int
 *                that is valid with its finder only. It has one cursor, which
 *                stands before the first device at first, and which all
 *                threads that use the list share.
 *
 * Threads
 *   tarni_open(), tarni_init() and tarni_close() must not run at the same time
 *   as any other call on the same finder. A callback may call while tarni_init()
 *   runs, but one that still runs when the finder is being closed must not call
 *   into it any more. All other functions may be called from any thread at any
 *   time in between, also from inside a callback, but for tarni_subscribe(),
 *   tarni_subscribe_all() and tarni_get_total_currentdraw(), which see.
 *
 * Errors
 *   Functions return a negative number on failure, set no errno, and give -1
 *   (or do nothing, where they return nothing) for a null finder. Any other
 *   pointer that did not come from tarni_open(), or that went through
 *   tarni_close(), is undefined behaviour, as is a null output record or
 *   buffer. In a C++ host, exceptions of the standard library (no memory) leave
 *   the calls.
 *
 * Log
 *   The library reports on standard error in lines that begin "[UDF] ", and
 *   prints "Success: ReadFile ..." lines on standard output. It has no switch to
 *   turn them off; a host that needs either stream clean redirects it.
 */
#ifndef TARNI_H
#define TARNI_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define TARNI_API __attribute__((visibility("default")))
#else
#define TARNI_API
#endif

#if defined(__cplusplus)
#define TARNI_STATIC_ASSERT(condition, name) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define TARNI_STATIC_ASSERT(condition, name) _Static_assert(condition, #name)
#else
#define TARNI_STATIC_ASSERT(condition, name) typedef char name[(condition) ? 1 : -1]
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * What happened in the USB topology. The numbers are fixed for good. An event
 * from tarni_dummy_publish() can carry any other number, so a switch over a
 * received type needs a default. (C compilers may take the type as unsigned: cast
 * it to int before comparing with a number below 0.)
 */
#ifdef __cplusplus
enum EventType : int32_t {
#else
enum EventType {
#endif
  DEVICE_ATTACH = 0,        /* a device was attached */
  DEVICE_REMOVED = 1,       /* a device was removed */
  HUB_ATTACH = 2,           /* a hub was attached */
  OVERCURRENT_DETECTED = 3, /* a port of the hub draws too much current */
  OVERCURRENT_REMOVED = 4,  /* overcurrent on a port of the hub is over */
  UNSUPPORTED_DEVICE = 5,   /* the kernel's topology manager does not support the device */
  HUB_REMOVED = 6,          /* a hub was removed */
  OCCLUDED_HUB_ATTACH = 7,  /* an occluded hub was attached */
  OCCLUDED_HUB_REMOVED = 8  /* an occluded hub was removed */
};
#ifndef __cplusplus
typedef enum EventType EventType;
#endif

/* One event, as a callback receives it. 260 bytes. */
struct usb_event_info {
  EventType type;
  /* sysfs directory of the device or hub, such as /sys/bus/usb/devices/1-1.2;
   * always terminated. On DEVICE_REMOVED and HUB_REMOVED the directory may be
   * gone already. The two overcurrent events name the hub, not its port. */
  char path[256];
};
#ifndef __cplusplus
typedef struct usb_event_info usb_event_info;
#endif

/*
 * One device. 1040 bytes, integers in the machine's byte order.
 *
 * The library writes at most 255 characters into each text field and never
 * touches its last byte: hand in a zeroed record and every text is terminated.
 * Text comes from the device and is not checked: it can hold control
 * characters and malformed UTF-8.
 */
struct usb_device {
  uint16_t pid;      /* product identifier (idProduct) */
  uint16_t vid;      /* vendor identifier (idVendor) */
  uint16_t port_num; /* port of the parent hub; 0 for a root hub or a chain too long */
  /* Length of the port chain, that is the depth below the root hub: 0 for a root
   * hub. A chain of more than 8 ports gives a negative libusb error here,
   * truncated to 16 bits. */
  uint16_t num_ports;
  uint16_t reserved; /* 0 */
  uint16_t dev_num;  /* address on the bus */
  uint16_t bus_num;  /* bus number */
  /* Device class, by this library's own numbers:
   *   0 audio            3 mass storage   6 smart card
   *   1 communications   4 hub            7 wireless controller
   *   2 human interface  5 CDC data       8 anything else
   * A device that declares its class per interface has that of its first. */
  uint16_t dev_cls;
  /* Empty when the device has none; root hubs and chains too long also show none. */
  char manufacturer[256];
  char product[256];
  char serial[256];
  char sysfs_path[256]; /* /sys/bus/usb/devices/1-1.2; empty likewise */
};
#ifndef __cplusplus
typedef struct usb_device usb_device;
#endif

/*
 * A callback. It runs on the finder's own delivery thread, one event at a time,
 * with no lock of the library held. It may call any function of this header but
 * tarni_close() (which would wait for itself, and ends the process), tarni_init()
 * and tarni_get_total_currentdraw() (which hold up all other events).
 */
typedef void (*tarni_callback)(usb_event_info event);

/* ---- Opening and closing ------------------------------------------------ */

/*
 * Opens a finder. Device lists work at once; topology events and the current
 * draw need tarni_init(). Starts the delivery thread.
 *
 * Returns the finder, never null. The caller owns it until tarni_close().
 */
TARNI_API void* tarni_open(void);

/*
 * Connects to the kernel's USB topology manager (netlink protocol 29), registers
 * and starts the listening thread. Subscribe before it to miss no event. After a
 * failure it may be called again; after a success it must not: a second success
 * ends the process, and a second call that fails leaves a finder that may use up a
 * processor, and write log lines, until it is closed.
 *
 * Blocks until the topology manager's first message, 60 seconds at most; fails
 * at once on a kernel that has no topology manager.
 *
 * Returns 0 or more on success; a negative number when there is no topology
 * manager, when it does not answer, or for a null finder. After a failure
 * everything but topology events and the current draw works.
 */
TARNI_API int tarni_init(void* finder);

/*
 * Closes a finder: ends its threads, drops events not yet delivered, frees every
 * device list that is left. Blocks as long as a running callback runs.
 * Must be the last call with the finder, and must not come from a callback.
 * Does nothing for a null finder.
 */
TARNI_API void tarni_close(void* finder);

/* ---- Events ------------------------------------------------------------- */

/*
 * Has callback called for every event of one type. Several callbacks for one
 * type are called in the order of their subscription; the same one subscribed
 * twice is called twice. There is no unsubscribing.
 *
 * type: an EventType, or any other number that tarni_dummy_publish() is given.
 * callback: a null one is taken, and each event then logs an error.
 *
 * Subscribe before tarni_init(), or from a callback. A subscription that another
 * thread makes while an event is being delivered is undefined behaviour: delivery
 * reads the table without a lock.
 *
 * Returns 0; -1 for a null finder.
 */
TARNI_API int tarni_subscribe(void* finder, int type, tarni_callback callback);

/* The same for each of the nine event types. Returns 0; -1 for a null finder. */
TARNI_API int tarni_subscribe_all(void* finder, tarni_callback callback);

/*
 * Sends an event of the given type with the path "hello dummy" to the callbacks,
 * to try out a host's event handling. Needs no tarni_init().
 */
TARNI_API void tarni_dummy_publish(void* finder, int type);

/*
 * Asks the topology manager for the total current drawn by the USB devices.
 * Blocks up to 0.9 seconds (longer where the system clock is set back meanwhile).
 * Not from a callback. With several callers at once a caller now and then gets -2
 * although an answer came: ask again.
 *
 * Returns the total in mA, as the topology manager counts it and unchecked; -1 when
 * the topology manager could not tell, or for a null finder; -2 when no answer came
 * in time or tarni_init() did not succeed. An answer that is too late can be taken
 * for that to the next question.
 */
TARNI_API int tarni_get_total_currentdraw(void* finder);

/* ---- Device lists ------------------------------------------------------- */

/*
 * Takes a snapshot of the attached devices. Reads sysfs, opens no device.
 * Snapshots of one finder are taken one at a time, and other calls with its
 * device lists wait meanwhile.
 *
 * Returns the device list, 0 or more, to be freed with tarni_free_device_list()
 * (or by tarni_close()); -1 for a null finder. A machine whose devices cannot be
 * listed gives an empty list.
 */
TARNI_API int tarni_get_device_list(void* finder);

/*
 * Frees a device list. Unknown lists are ignored.
 * Numbers start again at 0 once all lists are freed, so that an old number can
 * come to name a new list; one tarni_find_device() stops that for good.
 *
 * Returns 0; -1 for a null finder.
 */
TARNI_API int tarni_free_device_list(void* finder, int list);

/*
 * Steps to the next device; the first call steps to the first. There is no way
 * back: take another list to walk again.
 *
 * Returns the device's index (0, 1, 2, ...); -1 past the last one, for an
 * unknown list or a null finder.
 */
TARNI_API int tarni_get_next_device(void* finder, int list);

/*
 * Describes the device at the cursor. Hand in a zeroed record.
 *
 * Returns 0; -1, with the record untouched, before the first and after the last
 * device, for a device that could not be read or has no active configuration,
 * for an unknown list or a null finder.
 */
TARNI_API int tarni_get_device_info(void* finder, int list, usb_device* device);

/*
 * Describes the device at a sysfs path, such as /sys/bus/usb/devices/1-1.2, which
 * has to match usb_device::sysfs_path to the letter; the empty one finds the first
 * device that has none, as a root hub.
 *
 * Every call takes a snapshot that stays (with its memory and two descriptors)
 * until tarni_close(): to look up devices often, walk a list instead. A null path
 * throws std::logic_error, which ends a C host.
 *
 * Returns 0; -1 when there is no such device, when it could not be read, or for
 * a null finder.
 */
TARNI_API int tarni_find_device(void* finder, const char* sysfs_path, usb_device* device);

/*
 * Copies the path of the first device node of the device at the cursor, such as
 * /dev/sda, /dev/hidraw0 or /dev/ttyACM0. Only mass storage, human interface and
 * communications devices have any. Nodes are those that existed when the list was
 * taken, or when tarni_get_num_partitions() last waited for a disk. Disks and
 * hidraw nodes are those of every device whose sysfs directory contains the name:
 * 1-1 also finds the nodes of 1-1.4, 1-10 and 11-1.
 *
 * size: bytes in buffer; size - 1 of them are written, cut or padded with zeros,
 * the last one never: hand in a zeroed buffer.
 *
 * Returns 0; -1, with the buffer untouched, when there is no node, for a size
 * below 1, an unknown list, a cursor that is on no device, or a null finder.
 */
TARNI_API int tarni_get_devfs_path(void* finder, int list, char* buffer, int size);

/*
 * Counts the disks (not their partitions: a stick has one, a card reader one per
 * slot) of the device at the cursor. Their nodes come a while after the device;
 * when there is none yet this waits 4 seconds and looks once more, every time.
 *
 * Returns the number; 0 for anything but mass storage; -1 for an unknown list, a
 * cursor that is on no device, or a null finder.
 */
TARNI_API int tarni_get_num_partitions(void* finder, int list);

/*
 * Copies the path of a disk, such as /dev/sda, of the device at the cursor. Waits
 * as tarni_get_num_partitions() does, whatever the index.
 *
 * partition: 0 to the number of disks less one.
 * size: bytes in buffer; the path is cut to fit and always terminated.
 *
 * Returns 0; -1, with the buffer untouched, for an index out of range, a size
 * below 1, an unknown list, a cursor that is on no device, or a null finder.
 */
TARNI_API int tarni_get_partition_path(void* finder, int list, int partition, char* buffer,
                                       int size);

/*
 * Writes everything known of every attached device to standard error.
 * Returns 0; -1 for a null finder.
 */
TARNI_API int tarni_dump_info(void* finder);

/* ---- Layout ------------------------------------------------------------- */

/* A host compiled with options that change these (-fshort-enums, say) cannot
 * talk to the library; better that it does not compile. */
TARNI_STATIC_ASSERT(sizeof(EventType) == 4, tarni_event_type_is_32_bits);
TARNI_STATIC_ASSERT(sizeof(usb_event_info) == 260, tarni_event_info_is_260_bytes);
TARNI_STATIC_ASSERT(offsetof(usb_event_info, type) == 0, tarni_event_type_at_0);
TARNI_STATIC_ASSERT(offsetof(usb_event_info, path) == 4, tarni_event_path_at_4);
TARNI_STATIC_ASSERT(sizeof(usb_device) == 1040, tarni_device_is_1040_bytes);
TARNI_STATIC_ASSERT(offsetof(usb_device, pid) == 0, tarni_pid_at_0);
TARNI_STATIC_ASSERT(offsetof(usb_device, vid) == 2, tarni_vid_at_2);
TARNI_STATIC_ASSERT(offsetof(usb_device, port_num) == 4, tarni_port_num_at_4);
TARNI_STATIC_ASSERT(offsetof(usb_device, num_ports) == 6, tarni_num_ports_at_6);
TARNI_STATIC_ASSERT(offsetof(usb_device, reserved) == 8, tarni_reserved_at_8);
TARNI_STATIC_ASSERT(offsetof(usb_device, dev_num) == 10, tarni_dev_num_at_10);
TARNI_STATIC_ASSERT(offsetof(usb_device, bus_num) == 12, tarni_bus_num_at_12);
TARNI_STATIC_ASSERT(offsetof(usb_device, dev_cls) == 14, tarni_dev_cls_at_14);
TARNI_STATIC_ASSERT(offsetof(usb_device, manufacturer) == 16, tarni_manufacturer_at_16);
TARNI_STATIC_ASSERT(offsetof(usb_device, product) == 272, tarni_product_at_272);
TARNI_STATIC_ASSERT(offsetof(usb_device, serial) == 528, tarni_serial_at_528);
TARNI_STATIC_ASSERT(offsetof(usb_device, sysfs_path) == 784, tarni_sysfs_path_at_784);

#ifdef __cplusplus
}
#endif

#endif /* TARNI_H */
