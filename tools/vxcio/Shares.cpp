// vxcio shares: the table of shares as the library has it, and what this machine is called in it.
#include "Console.h"
#include "ExitCodes.h"
#include "Json.h"
#include "Stream.h"
#include "Terminal.h"
#include "Text.h"
#include "TimedThread.h"
#include "Verbs.h"

#include "paths/NetPaths.h"
#include "paths/OwnNames.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::tool {

namespace {

using Row = std::array<std::string, 3>; // share, share by its address, folder or drive

struct Table {
    bool isWhole = false;
    std::string computer;
    std::string computerFrom;
    std::string workgroup;
    std::string configuration;
    std::vector<Row> rows;
    std::vector<std::string> localDrives;
};

void TakeNames(void* context, const OwnNames& names) {
    auto& table = *static_cast<Table*>(context);
    table.computer = Narrow(names.computer);
    table.computerFrom = Narrow(names.computerFrom);
    table.workgroup = Narrow(names.workgroup);
    table.configuration = Narrow(names.configuration);
}

// What these throw must not come through the library: the table is not whole then.
int TakeRow(void* context, const NetPath& path) {
    auto& table = *static_cast<Table*>(context);
    try {
        table.rows.push_back({Narrow(path.nameUNC), Narrow(path.ipUNC), Narrow(path.local)});
        return 1;
    } catch (...) {
        table.isWhole = false;
        return 0;
    }
}

int TakeDrive(void* context, const wchar_t* drive) {
    auto& table = *static_cast<Table*>(context);
    try {
        table.localDrives.push_back(Narrow(drive));
        return 1;
    } catch (...) {
        table.isWhole = false;
        return 0;
    }
}

void Fill(Table& table) {
    table.isWhole = AskOwnNames(&TakeNames, &table) != 0;
    VisitNetPaths(&TakeRow, &table);
    VisitSpecialDrives(&TakeDrive, &table);
}

// Characters, not bytes.
std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string Rows(std::vector<Row> rows) {
    rows.insert(rows.begin(), {"SHARE", "BY ADDRESS", "FOLDER OR DRIVE"});
    std::array<std::size_t, 3> widths{};
    for (Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = row[i].empty() ? "-" : Shown(row[i]);
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            text += row[i] + std::string(widths[i] - WidthOf(row[i]) + 2, ' ');
        }
        text += row.back() + "\n";
    }
    return text;
}

std::string TextOf(const Table& table) {
    std::string text = "computer     " + Shown(table.computer) + " (" +
                       (table.computerFrom.empty() ? std::string("the host's name")
                                                   : "netbios name in " + Shown(table.computerFrom)) +
                       ")\nwork group   " + (table.workgroup.empty() ? "none" : Shown(table.workgroup)) +
                       "\nlooked up in " + Shown(table.configuration) + "\n";
    std::string drives;
    for (const std::string& drive : table.localDrives) {
        drives += drives.empty() ? "" : " ";
        drives += Shown(drive);
    }
    text += "local drives " + (drives.empty() ? "none" : drives) + "\n\n";
    return text + (table.rows.empty()
                       ? "No share is a folder of this machine, and no folder or drive leads to one.\n"
                       : Rows(table.rows));
}

Json JsonOf(const Table& table) {
    Json out;
    out["computer"] = table.computer;
    out["computerFrom"] = table.computerFrom.empty() ? Json("host name") : Json(table.computerFrom);
    out["workgroup"] = table.workgroup;
    out["configuration"] = table.configuration;
    out["localDrives"] = table.localDrives;
    out["shares"] = Json::array();
    for (const Row& row : table.rows) {
        const auto orNull = [](const std::string& cell) { return cell.empty() ? Json() : Json(cell); };
        out["shares"].push_back(
            {{"share", orNull(row[0])}, {"byAddress", orNull(row[1])}, {"local", row[2]}});
    }
    return out;
}

} // namespace

int RunShares(const Options& options, LogView&) {
    const auto table = std::make_shared<Table>();
    TimedThread thread;
    const std::chrono::milliseconds limit = AskLimit(options);
    if (!thread.Do(limit, [table] { Fill(*table); })) {
        if (InterruptWanted()) {
            return kExitInterrupted;
        }
        Complain("shares: a disk or the network does not answer within " + std::to_string(limit.count()) +
                 " ms");
        return kExitFailed;
    }
    if (!table->isWhole) {
        Complain("shares: memory lacks");
        return kExitFailed;
    }
    if (options.json) {
        PrintJson(JsonOf(*table));
    } else {
        Print(TextOf(*table));
    }
    return kExitOk;
}

} // namespace vxcio::tool
