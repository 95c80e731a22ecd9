// KivDB, a small table store in plain files: everything that a host includes.
//
// A database is a directory tree, a table is a directory, a record is one text
// file named by its id.  Start at CKivDatabase.

#ifndef KIVDB_KIVDB_H_
#define KIVDB_KIVDB_H_

#include <kivdb/column.h>
#include <kivdb/database.h>
#include <kivdb/dir_iterator.h>
#include <kivdb/escape.h>
#include <kivdb/listing.h>
#include <kivdb/lock.h>
#include <kivdb/migrate.h>
#include <kivdb/removed.h>
#include <kivdb/status.h>
#include <kivdb/table.h>
#include <kivdb/texts.h>
#include <kivdb/upgrade.h>
#include <kivdb/utils.h>
#include <kivdb/version.h>

#endif  // KIVDB_KIVDB_H_
