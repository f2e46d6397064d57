-- Catalogue of the simulated site: tamba_db.sdb in the directory gv_rw_db.
--
-- Rules that the library relies on:
--   * All names are lower case: statements are lower-cased up to their first quote, and result columns carry the
--     declared spelling.
--   * Times are local, as TEXT "YYYY-MM-DD HH:MM:SS", and compared as text.  A backup day (datum) has 00:00:00.
--   * Flags are single letters.  A flag that statements test with "<>" or "!=" is NOT NULL with a default, because a
--     NULL would hide its row from both answers.
--   * Numbers of drives, loaders, groups and clients are INTEGER, so that 3 and '3' find the same row.
--   * Values hold no "|" (it ends a field of a record text); column names have at most 30 characters.
--   * (site) marks what only the programs around the library use.

begin transaction;

-- One row per medium.
create table media (
    id          integer primary key autoincrement,  -- insertion order, breaks ties between equal eol
    label       text    not null,                   -- pool name and five digits, e.g. DAILY00012
    pool        text    not null,
    kasstyp     text    not null default '',        -- medium type, see capacities
    eol         text,                               -- protected against overwriting until then
    sperrkz     text    not null default '+',       -- '-' write-protected
    init_flag   text    not null default 'n',       -- 'y' being initialised, or reserved for the archive
    eom_state   text    not null default 'n',       -- 'y' full
    close_tape  text,                               -- 'y' closed for further writing; NULL: open
    sichtag     text,                               -- last backup on it
    folgekass   integer not null default 0,         -- continuation number within a backup chain
    drive_num   integer,                            -- drive that saw it last
    lader       integer,                            -- loader that holds it, and where
    slot        text
);
create unique index media_label on media (label);
create index media_pool_used on media (pool, sichtag, folgekass);

-- The choice of a medium for a backup asks a pool for its most recently written medium that is still prepared.  A pool
-- may hold a hundred thousand media of which a handful are prepared, so the index holds only media whose flags allow
-- writing, in the order of the answer and with every column of the question; expired ones lie behind, because they
-- were written longer ago.  SQLite uses it only while the conditions stand here word for word as in the statement.
-- Partial indexes need SQLite 3.8.0 or later.
create index media_prepared on media (pool, sichtag desc, folgekass desc, eol desc, drive_num, eom_state, close_tape,
                                      sperrkz, init_flag, label)
    where eom_state!='y' and (close_tape!='y' or close_tape is null) and sperrkz!='-' and init_flag!='y';

-- The choice of the oldest medium goes through a pool in the order of its answer, all of it or what one loader holds, and
-- sees only media that may be chosen: those reserved for the archive stay for years.
create index media_oldest on media (pool, eol, id, label, drive_num, sperrkz, init_flag)
    where sperrkz='+' and init_flag<>'y';
create index media_oldest_in_loader on media (pool, lader, eol, id, label, drive_num, sperrkz, init_flag)
    where sperrkz='+' and init_flag<>'y';

-- One row per media pool.
create table media_pools (
    name        text    not null primary key,
    eol         integer,                            -- retention in days; -1: test pool, used in turn
    drive_grp   integer,                            -- drive group that serves it
    media_chg   text                                -- media-change mark of clone pools
);
create index media_pools_grp on media_pools (drive_grp);

-- Drives that serve the same pools.
create table drive_groups (
    grp_id      integer not null primary key,
    grp_name    text    not null
);
create unique index drive_groups_name on drive_groups (grp_name);

-- One row per configured drive.
create table hw_drives (
    drive_num    integer not null primary key,
    name         text,                              -- rows of equal name are one device, seen from several hosts
    typ          text    not null default '',       -- "NDMP" and "DISK_CHNG" are special
    device       text    not null default '',       -- device path on its host
    path         text,                              -- directory of a disk drive
    client_id    integer,                           -- its host
    grp_id       integer,
    loader_num   integer,                           -- NULL or 0: no loader
    loader_drive integer,                           -- position number inside the loader
    label        text,                              -- mounted label; NULL or "?...": none
    block_size   integer,                           -- bytes; NULL or 0: the device's own
    timeout      integer,                           -- seconds; NULL: 60
    tbs_nr       integer                            -- number of the media server on its host
);
create index hw_drives_name on hw_drives (name);
create index hw_drives_grp on hw_drives (grp_id);

-- One row per autoloader.
create table hw_loaders (
    loader_num  integer not null primary key,
    ctrl        text    not null default 'DIR',     -- "DIR" direct access, "VIRT" virtual loader
    typ         text,                               -- (site)
    device      text,                               -- (site)
    client_id   integer                             -- (site)
);

-- What a loader last reported about its positions.
create table loader_contents (
    loader_num  integer,                            -- (site)
    object      text    not null,                   -- 'drive', or 'slot' (site)
    number      integer not null,                   -- drive position or slot number
    lbl         text                                -- NULL: empty
);
create index loader_contents_lbl on loader_contents (lbl, object);

-- Which medium type fits which drive type; no row: they do not fit.
create table capacities (
    drive_typ   text    not null,
    media_typ   text    not null,
    kapaz_num   integer not null default 0,
    primary key (drive_typ, media_typ)
);

-- Site switches: "pool <drive number>" (default pool), "media_accept_empty", "media_accept_spare",
-- "media_accept_eol".  Not unique: a doubled acceptance switch counts as not set.
create table defaults (
    key         text    not null,
    value       text
);
create index defaults_key on defaults (key);

-- Operating system of a client -> platform family.
create table oper_systems (
    os          text    not null,
    platform    text    not null
);
create index oper_systems_os on oper_systems (os);

-- Hosts.  Not unique by name: a doubled client is reported and still used.
create table clients (
    client_id      integer not null primary key,
    name           text    not null,
    os             text,
    accessmode     text,                            -- C control daemon, J jrsh, R rsh
    access_options text,                            -- of the control daemon: "-s", "-o LOW-HIGH"
    user_name      text,
    password       text                             -- enciphered
);
create index clients_name on clients (name);

-- One row per saveset, and one of type 'N' per backup day, whose saveset is the id of its calendar row.
create table results (
    saveset          text    not null primary key,
    task             text,
    datum            text,
    cnt              integer,                       -- counter of the job on that day
    fdi_typ          text,                          -- F full, D differential, I incremental, C, X, pairs, N new day
    state            text,                          -- 0, 1, 2 usable; 'd' about to be deleted
    msg              text,
    blocks           integer,
    start_tim        text,                          -- (site)
    stop_tim         text,
    saveset_exist    text,                          -- number of migrated copies, or 'M' once migrated
    original_saveset text                           -- saveset that this one was migrated from
);
create index results_task on results (task, stop_tim);
create index results_datum on results (datum, fdi_typ);
create index results_original on results (original_saveset);
create index results_state on results (state);

-- Which media hold a saveset.
create table result_lbls (
    saveset     text    not null,
    label       text    not null,
    primary key (saveset, label)
);
create index result_lbls_label on result_lbls (label);

-- What was restored from a saveset; deleted with it.
create table restore_results (
    id          integer primary key autoincrement,
    saveset     text    not null,
    state       text,                               -- (site)
    msg         text,                               -- (site)
    start_tim   text,                               -- (site)
    stop_tim    text                                -- (site)
);
create index restore_results_saveset on restore_results (saveset);

-- Restore jobs prepared for a saveset; eol '0' keeps the job when the medium's data is cleaned up.
create table restore_tasks (
    id          integer primary key autoincrement,
    saveset     text    not null,
    eol         text    not null default '1',
    task        text                                -- (site)
);
create index restore_tasks_saveset on restore_tasks (saveset);

-- The calendar of events.
create table cal_sheets (
    id          text    not null primary key,       -- TEXT: compared with the saveset of a new-day row
    ev_type     text    not null,                   -- B backup, X migration, G group, N new day
    object      text,                               -- B: job name and more, separated by blanks
    state       text    not null default 'w',       -- w waiting, q queued, a active, otherwise final
    priority    integer not null default 0,         -- 0: always executed
    suppress    integer not null default 0,         -- 0: takes part
    start       text    not null,
    end_time    text,
    msg         text
);
create index cal_sheets_state on cal_sheets (ev_type, state, start);
create index cal_sheets_object on cal_sheets (object, start);

commit;
