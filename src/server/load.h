// What load does beside opening ports and starting timers: the values it leaves in the host, and
// the one moment at which old rows go.
#pragma once

namespace vnq {

struct Host;

/// The data root and the keyword lists, from the database. Database: Tab_Config, vnq_keyword.
void ReadDatabaseSettings(Host& host);

/// MaskKeywords and BlockKeywords, each from the first row of its kind. False when a query failed,
/// whose list stays as it was. Yields: no. Database: vnq_keyword.
bool ReadKeywordLists(Host& host);

/// Whether the database opens and has its tables. Yields: no. Database: a row of Users_ID is read.
bool DatabaseAnswers(Host& host);

/// Deletes messages, offline files and notices that are as old as the settings say, in this order.
/// A failed statement is skipped. Database: see load.cpp.
void SweepOldRows(Host& host);

/// MinClientVersion and ClientDownloadVersion, from the first line of the version file:
/// "min|download". Both stay 0 when there is no file, so that every client passes.
void ReadVersionFile(Host& host);

/// The default fonts, the push address and the WebSocket reply. Database: Plug.
void SetFontsAndAddresses(Host& host);

}  // namespace vnq
