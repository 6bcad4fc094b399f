#!/bin/bash
# The layers point down: the task list and the run include nothing of the
# window, the application glue or the command line, nor any Qt; the command
# line includes nothing of the window or the application glue.
set -uo pipefail
src="${TB_SOURCE_DIR:?}/src"
fail=0
refuse() {  # refuse FOLDER PATTERN WHAT
    local hits
    hits=$(grep -rnE "^#include [\"<]($2)" "$src/$1" 2>/dev/null)
    if [ -n "$hits" ]; then
        echo "FAIL: src/$1 includes $3:"
        echo "$hits"
        fail=1
    else
        echo "ok: src/$1 includes no $3"
    fi
}
refuse tasklist 'ui/|app/|cli/|split/|platform/(qt/)?[A-Za-z]+\.h|Q' "window, application, command-line, run or Qt headers"
refuse split 'ui/|app/|cli/|platform/(qt/)?[A-Za-z]+\.h|Q' "window, application, command-line or Qt headers"
refuse cli 'ui/|app/|platform/(qt/)?[A-Za-z]+\.h|Q' "window, application or Qt headers"
refuse excel 'ui/|app/|cli/|split/|tasklist/|Q' "headers from the layers above it"
exit $fail
