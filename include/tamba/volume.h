/* Volume requests: bring a medium into a drive, and which medium may take the place of the requested one. */
#ifndef TAMBA_VOLUME_H
#define TAMBA_VOLUME_H

#include <tamba/trace.h>

TAMBA_BEGIN

#define TAMBA_VOLUME_MSG_SIZE 256 /* least size of a message buffer and of a label buffer of this family */

/* One request; handed to every step and to the acceptance rules.  Texts are terminated. */
typedef struct GetVolumeStrategy {
    char mode; /* 'b' backup, 'i' initialisation, any other: no change of label is allowed; becomes
                                 'd' when the rules below accept another medium */
    char requested_label[31]; /* a pool's name and five characters */
    char drive_num[8];        /* drive number, as text */
    char accept_empty;        /* media without a label: 'y' allows, anything else forbids */
    char accept_spare;        /* media whose label contains "SPARE" */
    char accept_eol;          /* media of the same pool behind their end of life */
    char semaphore[20];       /* "getvol_<drive>" */
    char requested_pool[31];  /* the requested label without its last five characters */
    char result_label[31];    /* what is in the drive in the end */
} GetVolumeStrategy;

/* Brings a medium into a drive and binds it there: uses what lies in the drive, lets the drive's loader fetch the medium,
 * or, for a drive without a loader, calls an operator ("tb_notify") and waits until a medium is inserted that may be used.
 *
 * label         the medium; its row in the catalogue says type, loader and slot
 * drive_num     the drive's number
 * allow_change  'b' the request is for a backup: another medium of the same pool that an operator inserts is taken, and a
 *               medium without a label ends the request with 2; 'i' for an initialisation: the rules below decide about
 *               an inserted medium, one whose label cannot be read for another reason than that there is none is
 *               refused; any other: only this medium
 * message       TAMBA_VOLUME_MSG_SIZE; receives the label that is now in the drive ("No label on tape" for 2, "Unkown
 *               tape" for 3), after a failure the reason
 * worm_flag     receives 1 when the medium that was looked at last is write-once, else 0; may be NULL
 *
 * Returns 1 in the drive; 2 it carries no label; 3 (only for a drive without a loader) its label is not known to the
 * catalogue or the catalogue could not be asked; 0 failure: drive or medium unknown, types that do not fit, no such
 * device, the catalogue or the semaphore not to be had, the medium not in the loader, another medium in the slot, a
 * shutdown of the drive's group or gcInterrupt 'y' while waiting.
 * A drive with a loader whose control option does not hold "DIR" answers 1 with the requested label also when another
 * medium lies in it ("Invalid loader control option" in the trace).
 *
 * One request at a time works on a drive (semaphore "getvol_<drive>"); it waits for the one before it, and for the
 * operator, without a limit.  A medium that does not fit, or whose label cannot be read, is ejected, and the operator is
 * asked again; after the fourth time "tb_alarm" is called, once.  Each step stands on the drive's line of the info board; protocol: I001, I002, I007,
 * I008, W002, E001-GETVOL.  The catalogue's "media.drive_num" is set after an operator's insertion only.
 * Threads: as REMOTE_CMD; threads of one process do not exclude each other. */
TAMBA_API int32_t i_GET_VOLUME(const char *label, const char *drive_num, char allow_change, char *message,
                               int32_t *worm_flag, TraceContext trace);

/* Reads the site's switches from the catalogue's table "defaults", keys "media_accept_empty",
 * "media_accept_spare" and "media_accept_eol": the first character of the value.  A switch that cannot be read, that is
 * missing or that stands there twice keeps what the record holds; preset the three with 'n'.
 *
 * Returns 1, or 0 for a NULL strategy.  Thread-safe. */
TAMBA_API int32_t i_FILL_STRATEGY(GetVolumeStrategy *strategy, TraceContext trace);

/* Decides whether the medium in the drive may take the place of the requested one.
 *
 * strategy     switches, drive and requested label; its mode becomes 'd' when the medium is accepted
 * label_state  0: its label could not be read - the rule for media without a label decides.  CAUTION: a caller must
 *              know that the medium carries no label; with the switch on "tb_arch" OVERWRITES whatever lies in the
 *              drive, also when the label is unreadable for another reason (login, time-out)
 *              any other: label holds it; a label with "SPARE" anywhere in it is a spare, any other is tested for
 *              pool and end of life
 * label        TAMBA_VOLUME_MSG_SIZE; the loaded label; receives the label to use, after a refusal the reason
 *
 * Returns 1 when the medium may be used, else 0.  Threads: as i_setenv_tamba, because "tb_arch" may be run. */
TAMBA_API int32_t i_TRY_CHANGE_LABEL(GetVolumeStrategy *strategy, int32_t label_state, char *label,
                                     TraceContext trace);

/* Introduces the medium in the drive, whatever lies there, into the archive: "tb_arch" labels it for the pool of the
 * requested label (OVERWRITING it) and leaves the new label in the global variable "gv_arch_sts".  It is not started
 * when the catalogue cannot be read or has no media type for the drive, when the requested label has no pool, or when
 * an argument would not reach it as one word.
 *
 * label  TAMBA_VOLUME_MSG_SIZE; receives the new label; after a refusal the reason: the catalogue's text, why nothing
 *        was started, or what "tb_arch" left when that begins with "?"; otherwise it stays
 *
 * Returns 1 accepted (strategy's mode is then 'd'; I004-GETVOL in the protocol and on the drive's line), else 0.
 * Announces the start in the protocol (I003-GETVOL).  One "tb_arch" at a time on this host runs for such requests
 * (semaphore "getvol_arch"), because the variable has one place.  Threads: as i_setenv_tamba. */
TAMBA_API int32_t i_USE_UNKNOWN_MEDIA(GetVolumeStrategy *strategy, char *label, TraceContext trace);

/* Takes a spare over into the pool of the requested label: as i_USE_UNKNOWN_MEDIA with the spare's own media type.
 * Afterwards the spare's old row of the catalogue is deleted (I006-GETVOL); one that cannot be deleted stays and the
 * medium is used all the same.
 *
 * label  TAMBA_VOLUME_MSG_SIZE; the spare's label, which the catalogue must know; receives as above
 *
 * Returns 1 accepted, else 0.  Announces the start in the protocol (I005-GETVOL).  Threads: as i_setenv_tamba. */
TAMBA_API int32_t i_CATCH_SPARE_MEDIA(GetVolumeStrategy *strategy, char *label, TraceContext trace);

/* Decides whether a known medium replaces the requested one: of the same pool, not locked ("sperrkz" '+') and not
 * marked for initialisation, and either its end of life lies before today or its pool has the retention -1.  Nothing is
 * changed in the catalogue, and nothing on the medium.
 *
 * label  TAMBA_VOLUME_MSG_SIZE; the loaded label, which stays; after a refusal the reason
 *
 * Returns 1 accepted (mode 'd', I004-GETVOL), else 0, also when the medium's row cannot be read, or the retention of its
 * pool where that decides.  A date that is none protects the medium.  Thread-safe. */
TAMBA_API int32_t i_CHECK_POOL_AND_EOL(GetVolumeStrategy *strategy, char *label, TraceContext trace);

TAMBA_END

#endif
