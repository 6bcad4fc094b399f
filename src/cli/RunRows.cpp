#include "RunRows.h"

#include "Output.h"
#include "excel/Application.h"

namespace cli {

void configure(excel::Application& app, const Options& options, excel::AlertPrompter& prompter,
               excel::PasswordPrompter& passwords)
{
    app.setPrompter(&prompter);
    app.setPasswordPrompter(&passwords);
    app.setVisible(false);
    app.setDisplayAlerts(options.ask);
    app.setScreenUpdating(true);
    app.setAskToUpdateLinks(false);
    app.setCopyValuesOnly(options.values);
}

void runRows(excel::Application& app, const tasklist::TaskList& rows, const split::RunOptions& given,
             const std::vector<RowName>& names, RepairReport& repairs, Outcomes& outcomes, bool progress)
{
    split::RunOptions options = given;
    tasklist::TaskList rest = rows;
    int offset = 0;
    app.setEnableEvents(false);
    while (rest.count() > 0) {
        if (!names.empty()) {
            options.fileFor = [&names, offset](int index, const tasklist::TaskRow&) {
                const RowName& n = names[static_cast<std::size_t>(offset + index - 1)];
                if (n.refused)
                    throw *n.refused;
                return n.path;
            };
        }
        RunOutput output(progress ? rest.count() : 0, repairs, outcomes);
        const split::RunResult result = split::run(app, rest, options, output);
        if (!result.failure || result.failedWorkbook.empty())
            break;
        int done = output.failedIndex();
        while (done < rest.count() && rest.row(done + 1).SourceFileName == result.failedWorkbook) {
            const tasklist::TaskRow& row = rest.row(++done);
            outcomes.failed(row.SourceFileName, row.WorkSheetName, "not written: an earlier sheet of its workbook failed");
        }
        rest = rest.slice(done + 1, rest.count() - done);
        offset += done;
    }
    app.setEnableEvents(true);
}

}  // namespace cli
