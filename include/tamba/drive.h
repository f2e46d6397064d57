/* Drives: what the catalogue says of them, and everything that is done with one: reading and writing labels, mounting,
 * unloading, loading by robot, waiting until it is online. */
#ifndef TAMBA_DRIVE_H
#define TAMBA_DRIVE_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_DRIVE_MSG_SIZE 512 /* least size of a message buffer of this family */
#define TAMBA_HOST_SIZE 64       /* least size of a buffer for a host's name */

/* A configured drive.  What the catalogue leaves open (NULL) is "" unless it says otherwise here. */
typedef struct DriveProperties {
    char drive_num[16];
    char device[256];    /* device path on its host */
    char name[64];       /* drives of one name are one device; never "" */
    char typ[64];        /* "NDMP" is reached through tb_ndmp_interface */
    char path[256];      /* directory of a disk drive */
    char loader_num[16]; /* "NULL" or "0": no loader */
    char client_id[16];  /* its host's number */
    char label[64];      /* label mounted now; begins with "?" when there is none */
    char block_size[16]; /* bytes; "" or "0": the device's own */
    char timeout[16];    /* seconds; "60" when the catalogue says nothing */
    char host[64];       /* its host, and what is known of that */
    char os[64];
    char accessmode[64];
    int32_t shared; /* 1 when several rows of the catalogue have this name */
} DriveProperties;

/* A configured loader; NULL is "". */
typedef struct LoaderProperties {
    char loader_num[16];
    char ctrl[64]; /* control option: holds "DIR" for direct access, "VIRT" for a virtual loader */
    char typ[64];
    char device[256];
    char client_id[16];
    char host[64]; /* this host's own name when the catalogue names none */
} LoaderProperties;

/* Reads a drive's row of the catalogue and its host's.  A drive without a name gets the name "Drive-<number>", in the
 * catalogue, too.
 *
 * drive  receives the properties; zeroed after a failure
 *
 * Returns 1, or 0: no such drive, no such host, a value that is longer than its field, or a catalogue that cannot be
 * read; the trace tells which.  Thread-safe. */
TAMBA_API int32_t i_GET_DRIVE_PROPERTIES(int32_t drive_num, DriveProperties *drive, TraceContext trace);

/* Reads a loader's row of the catalogue and its host's name.  loader_num: a number in decimal; any other text names no
 * loader.  Results as i_GET_DRIVE_PROPERTIES.  Thread-safe. */
TAMBA_API int32_t i_GET_LOADER_PROPERTIES(const char *loader_num, LoaderProperties *loader,
                                          TraceContext trace);

/* Names the host that serves a drive, for "-S" of tb_ndmp_interface.  host: TAMBA_HOST_SIZE; "" after a failure.
 * Results as i_GET_DRIVE_PROPERTIES.  Thread-safe. */
TAMBA_API int32_t GET_TAPE_SERVER(const char *drive_num, char *host, TraceContext trace);

/* Carries out a command on a drive.
 *
 * command    its first three letters count, in either case:
 *              get        reads the label of the medium in the drive, once
 *              inf        the same; up to three readings, 5 seconds apart, after failures that can pass
 *              ini        writes a new label onto the medium; not while a label is mounted
 *              mou        binds the medium to the drive in the catalogue; the command "mount" reads the label from where
 *                         the tape stands and, failing that, once more from its header, as "mount_for_read" does at once
 *              dis        ends that binding
 *              dir        lists the medium's contents into a work file
 * drive_num  the drive's number
 * argument   get, inf: "trailer" reads the label where the tape stands; ini: the new label; mou: the label that is
 *            expected, or ""; dis: "unload", in any case, also ejects the medium; dir: the name part of the work file, by
 *            default "dir_<drive>"
 * msg        TAMBA_DRIVE_MSG_SIZE; receives the answer:
 *              get, inf   "<label> unmounted 0 1 " and "WORM" for a write-once medium; "<label> mounted 0 1"
 *              ini        message I005-DRIVES
 *              mou        "<label> mounted 0 1"; "already mounted"
 *              dis        "dismounted <label>", " (unload)" behind it when the medium was to be ejected
 *              dir        "data in file gv_rw_work:rsh_<name>.tmp"
 *            After a label that could not be read it holds the reason alone, e.g. "No label on tape" or "No such device";
 *            after mou on another label "Wrong label <label>"; after any other failure the whole message or the
 *            database's text.  These texts do not depend on the language but for messages with a tag and
 *            "?? Function ... is not allowed."
 *
 * Returns 1, or 0: unknown command, drive not configured (W001-DRIVES), state of the drive (W002-DRIVES), a catalogue that
 * cannot be read, a value that must not stand in a command line, or a program that failed or did not say that it
 * succeeded.  The catalogue is changed only after what it says has happened: hw_drives.label by ini, mou and dis; dis
 * changes it also when the medium cannot be ejected, which makes the result 0.  Messages with a tag also go to the protocol
 * and to the drive's line of the info board.
 * Waits for the programs that it runs, without a limit.  Threads: as REMOTE_CMD; one command on a drive at a time is the
 * caller's business (semaphore "getvol_<drive>"). */
TAMBA_API int32_t drive_handler(const char *command, const char *drive_num, const char *argument, char *msg,
                                TraceContext trace);

/* Runs the loader program, "tb_loader <command> -l <loader> -d <drive> [-s <slot>] [-L <log file>]", and waits for it.
 *
 * loader, drive  numbers
 * command        e.g. "L" to load
 * slot           slot, or label for a virtual loader; "" for none
 * msg            TAMBA_DRIVE_MSG_SIZE; on entry the name of a log file if it holds ".lgc", otherwise its text is not used;
 *                receives what the program left in the global variable "gv_loader_msg_<loader>", or why it was not run
 *
 * Returns 1 when the program left a status that begins with "+" in "gv_loader_sts_<loader>", else 0, also when it left none.
 * Both variables are deleted before it starts.  A log file whose name holds a
 * blank is left out of the command; an argument that is no single plain word is refused.  Thread-safe. */
TAMBA_API int32_t loader_handler(const char *loader, const char *command, const char *drive, const char *slot,
                                 char *msg);

/* Waits until a drive reports that it is online, asking every 5 seconds for at most "[Params]" "gv_timeout_for_online"
 * seconds of the ini file (300 by default).
 *
 * host             the drive's host
 * wait_for_insert  1: goes on waiting while there is no tape in the drive
 * device           device path on that host
 *
 * Returns 1 online; 0 time-out, no tape (unless waited for), no such device, interrupted (gcInterrupt; W002-BASICS), or the
 * drive's group cannot be read from the catalogue; -1 a shutdown of the drive's group is in progress: gcInterrupt is then
 * 'y' and I015-BREAK stands in the drive's line of the info board.  Threads: as v_set_log_main and REMOTE_CMD. */
TAMBA_API int32_t i_wait_until_drive_online(const char *host, const char *drive_num, int32_t wait_for_insert,
                                            const char *device, TraceContext trace);

/* Ask for the state of a tape drive: this host's operating system, or the client program on the drive's host.
 *
 * msg  TAMBA_DRIVE_MSG_SIZE; receives "online", "No tape in drive", "No such device or address" (also for what is no tape
 *      drive), or the reason why nobody knows
 *
 * Return 1 when the drive is online, else 0.  The local query opens the device for a moment: an auto-rewinding device
 * rewinds.  Threads: i_TAPE_STATUS_LOCAL is thread-safe, i_TAPE_STATUS_REMOTE as REMOTE_CMD. */
TAMBA_API int32_t i_TAPE_STATUS_LOCAL(const char *device, char *msg, TraceContext trace);
TAMBA_API int32_t i_TAPE_STATUS_REMOTE(const char *host, const char *device, char *msg, TraceContext trace);

/* Checks the media server.  There is nothing to check on this system: traces the call and returns 1. */
TAMBA_API int32_t i_CHECK_TBS(int32_t mode, TraceContext trace);

TAMBA_END

#endif
