// Where the reader of a record list stands, so that the row after the last one read is one step away and not
// a walk from the first.
//
// The public list has no room for it.  Positions are kept beside the lists, under the address of the first
// record, from the moment DB_SEL_FIRST makes that record until DB_SEL_LOOP_RECORDS frees it: an address that
// is used again always starts anew, wherever the list itself lives and whoever holds copies of it.  Lists
// that were not started by DB_SEL_FIRST have no position and are walked.
#pragma once

#include <tamba/db.h>

// A list begins with this record.
void cursor_start(DB_REC *first);

// Records behind the first one are about to be linked differently.
void cursor_rewind(const DB_REC *first);

// The list that begins with this record is about to be freed.
void cursor_drop(const DB_REC *first);

// The row-th record, counted from 1; null when the chain ends before it.
DB_REC *cursor_seek(DB_REC *first, uint32_t row);
