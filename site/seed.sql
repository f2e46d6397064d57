-- A small site: two loaders, a desk drive, a disk drive, and media in the states that decide their use.
-- End-of-life dates lie around the day on which the site is made.

begin transaction;

insert into clients (client_id, name, os, accessmode) values (1, 'localhost', 'linux', 'C');
insert into clients (client_id, name, os, accessmode) values (2, 'workshop', 'linux', 'C');
-- One client for each way to reach a host, and those that are not as they should be.
insert into clients (client_id, name, os, accessmode) values (3, 'desk', 'windows', 'J');
insert into clients (client_id, name, os, accessmode) values (4, 'attic', 'vms', 'R');
insert into clients (client_id, name, os, accessmode) values (5, 'cellar', 'netware', 'C');
insert into clients (client_id, name, os, accessmode) values (6, 'twin', 'linux', 'R');
insert into clients (client_id, name, os, accessmode) values (7, 'twin', 'windows', 'R');
insert into clients (client_id, name, os, accessmode) values (8, 'shed', 'linux', 'x');
insert into clients (client_id, name, os, accessmode, access_options) values (9, '127.0.0.1', 'windows', 'C', '-s');
insert into oper_systems (os, platform) values ('vms', 'VMS');
insert into oper_systems (os, platform) values ('netware', 'NETWARE');
insert into oper_systems (os, platform) values ('linux', 'UNIX');
insert into oper_systems (os, platform) values ('windows', 'WNT');

insert into hw_loaders (loader_num, ctrl, typ, device, client_id) values (1, 'DIR', 'LIBRARY-40', '/dev/sg1', 1);
insert into hw_loaders (loader_num, ctrl, typ, device, client_id) values (2, 'DIR', 'LIBRARY-8', '/dev/sg2', 1);

insert into drive_groups (grp_id, grp_name) values (1, 'LIBRARY');
insert into drive_groups (grp_id, grp_name) values (2, 'NIGHTLY');
insert into drive_groups (grp_id, grp_name) values (3, 'DESK');
insert into drive_groups (grp_id, grp_name) values (4, 'DISK');
insert into drive_groups (grp_id, grp_name) values (5, 'PLANNED');

-- Drives 4 and 14 are one device, seen from two hosts.  Group PLANNED has no drive yet.
insert into hw_drives (drive_num, name, typ, device, client_id, grp_id, loader_num, loader_drive)
    values (1, 'library-left', 'LTO', '/dev/nst0', 1, 1, 1, 1);
insert into hw_drives (drive_num, name, typ, device, client_id, grp_id, loader_num, loader_drive)
    values (2, 'library-right', 'LTO', '/dev/nst1', 1, 1, 1, 2);
insert into hw_drives (drive_num, name, typ, device, client_id, grp_id, loader_num, loader_drive)
    values (3, 'nightly', 'LTO', '/dev/nst2', 1, 2, 2, 1);
insert into hw_drives (drive_num, name, typ, device, client_id, grp_id, loader_num)
    values (4, 'desk', 'LTO', '/dev/nst3', 1, 3, 0);
insert into hw_drives (drive_num, name, typ, device, client_id, grp_id, loader_num)
    values (14, 'desk', 'LTO', '/dev/nst0', 2, NULL, NULL);
insert into hw_drives (drive_num, name, typ, device, path, client_id, grp_id)
    values (5, 'disk', 'DISK_CHNG', 'disk', 'disk', 1, 4);

insert into capacities (drive_typ, media_typ, kapaz_num) values ('LTO', 'LTO-TAPE', 800000);
insert into capacities (drive_typ, media_typ, kapaz_num) values ('DISK_CHNG', 'FILE', 50000);

insert into media_pools (name, eol, drive_grp) values ('DAILY', 14, 2);
insert into media_pools (name, eol, drive_grp) values ('WEEKLY', 60, 2);
insert into media_pools (name, eol, drive_grp) values ('FRESH', 14, 2);
insert into media_pools (name, eol, drive_grp) values ('MONTHLY', 400, 1);
insert into media_pools (name, eol, drive_grp) values ('DESK', 30, 3);
insert into media_pools (name, eol, drive_grp) values ('FILES', 7, 4);
insert into media_pools (name, eol, drive_grp) values ('TEST', -1, 3);
insert into media_pools (name, eol, drive_grp) values ('VAULT', 3650, 5);

insert into defaults (key, value) values ('pool 1', 'MONTHLY');
insert into defaults (key, value) values ('pool 2', 'MONTHLY');
insert into defaults (key, value) values ('pool 3', 'DAILY');
insert into defaults (key, value) values ('pool 5', 'FILES');

-- DAILY: two prepared media, the second written last; one full, one write-protected, one closed, one expired.
insert into media (label, pool, kasstyp, eol, sichtag, folgekass, drive_num, lader, slot) values ('DAILY00011', 'DAILY',
    'LTO-TAPE', datetime('now', 'localtime', '+12 days'), datetime('now', 'localtime', '-2 days'), 1, 3, 2, '1');
insert into media (label, pool, kasstyp, eol, sichtag, folgekass, drive_num, lader, slot) values ('DAILY00012', 'DAILY',
    'LTO-TAPE', datetime('now', 'localtime', '+13 days'), datetime('now', 'localtime', '-1 day'), 1, 3, 2, '2');
insert into media (label, pool, kasstyp, eol, eom_state, sichtag, folgekass, drive_num, lader, slot)
    values ('DAILY00013', 'DAILY', 'LTO-TAPE', datetime('now', 'localtime', '+13 days'), 'y',
            datetime('now', 'localtime', '-5 hours'), 1, 3, 2, '3');
insert into media (label, pool, kasstyp, eol, sperrkz, sichtag, folgekass, drive_num, lader, slot)
    values ('DAILY00014', 'DAILY', 'LTO-TAPE', datetime('now', 'localtime', '+13 days'), '-',
            datetime('now', 'localtime', '-4 hours'), 1, 3, 2, '4');
insert into media (label, pool, kasstyp, eol, close_tape, sichtag, folgekass, drive_num, lader, slot)
    values ('DAILY00015', 'DAILY', 'LTO-TAPE', datetime('now', 'localtime', '+13 days'), 'y',
            datetime('now', 'localtime', '-3 hours'), 1, 3, 2, '5');
insert into media (label, pool, kasstyp, eol, sichtag, folgekass, drive_num, lader, slot) values ('DAILY00010', 'DAILY',
    'LTO-TAPE', datetime('now', 'localtime', '-1 day'), datetime('now', 'localtime', '-15 days'), 1, 3, 2, '6');

-- WEEKLY: its prepared medium was carried into the other loader.
insert into media (label, pool, kasstyp, eol, sichtag, folgekass, drive_num, lader, slot) values ('WEEKLY00004',
    'WEEKLY', 'LTO-TAPE', datetime('now', 'localtime', '+55 days'), datetime('now', 'localtime', '-5 days'), 1, 3, 1,
    '17');

-- MONTHLY: a chain of two, continued in the right-hand drive.
insert into media (label, pool, kasstyp, eol, eom_state, sichtag, folgekass, drive_num, lader, slot)
    values ('MONTHLY00006', 'MONTHLY', 'LTO-TAPE', datetime('now', 'localtime', '+390 days'), 'y',
            datetime('now', 'localtime', '-10 days'), 1, 1, 1, '5');
insert into media (label, pool, kasstyp, eol, sichtag, folgekass, drive_num, lader, slot) values ('MONTHLY00007',
    'MONTHLY', 'LTO-TAPE', datetime('now', 'localtime', '+390 days'), datetime('now', 'localtime', '-10 days'), 2, 2, 1,
    '6');

-- DESK: a drive without a loader takes its media from the shelf.
insert into media (label, pool, kasstyp, eol, sichtag, folgekass, drive_num) values ('DESK00001', 'DESK', 'LTO-TAPE',
    datetime('now', 'localtime', '+20 days'), datetime('now', 'localtime', '-3 days'), 1, 4);

insert into loader_contents (loader_num, object, number, lbl) values (1, 'drive', 1, 'MONTHLY00006');
insert into loader_contents (loader_num, object, number, lbl) values (1, 'drive', 2, 'MONTHLY00007');
insert into loader_contents (loader_num, object, number, lbl) values (1, 'slot', 17, 'WEEKLY00004');
insert into loader_contents (loader_num, object, number, lbl) values (2, 'drive', 1, 'DAILY00012');
insert into loader_contents (loader_num, object, number, lbl) values (2, 'slot', 1, 'DAILY00011');

commit;
