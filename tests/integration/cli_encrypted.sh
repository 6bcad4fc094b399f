#!/bin/bash
# tamberlin-split on a folder with one workbook of each encryption: Excel's
# built-in password opens without a word; --password-file's lines are tried
# in turn on every encrypted workbook; on a terminal the password is asked
# for without echo; a workbook no password opens is named, the others still
# split, exit status 1; the copies are in clear and other readers read them.
set -uo pipefail
work_name=tb-cli-encrypted
# shellcheck source=../support/cli_script.sh
. "${TB_SOURCE_DIR:?}/tests/support/cli_script.sh"

mkdir -p "$work/in" "$work/out" "$work/out2" "$work/out3"
cp "$TB_TEST_DATA"/encrypted/*.xls "$TB_TEST_DATA"/encrypted/*.xlsx "$work/in/"
guard_sources "$work"/in/*
cd "$work"
printf 'first wrong\r\ntamberlin\n\n' > passwords

"$split" -o out --password-file passwords in/* > stdout 2> stderr; rc=$?
check "every workbook splits with the password file" "[ $rc -eq 0 ] && [ ! -s stderr ]"
check "one file a sheet, 26 in all" "[ \$(wc -l < stdout) -eq 26 ] && [ \$(find out -name '*.xls' | wc -l) -eq 26 ]"
# xlrd refuses a workbook with a FILEPASS record ("Workbook is encrypted"):
# reading every copy shows that none kept one.
check "the copies are in clear and read by xlrd and openpyxl" "/usr/bin/python3 - <<'PY'
import glob, io, openpyxl, xlrd, zipfile
copies = glob.glob('out/*/*.xls')
assert len(copies) == 26, copies
for f in copies:
    if zipfile.is_zipfile(f):
        assert len(openpyxl.load_workbook(io.BytesIO(open(f, 'rb').read())).sheetnames) == 1, f
    else:
        assert len(xlrd.open_workbook(f).sheet_names()) == 1, f
PY"
check "the password is printed nowhere" "! grep -q tamberlin stdout stderr"

"$split" -o out2 in/* < /dev/null > stdout 2> stderr; rc=$?
check "without passwords: exit 1" "[ $rc -eq 1 ]"
check "the built-in password opens its workbooks silently" "[ -f out2/agile_default/Sheet3.xls ] && [ -f 'out2/cryptoapi_default/Data Sheet.xls' ] && [ -f out2/rc4_default/Sheet2.xls ]"
check "each workbook no password opens is named" "for f in agile standard xor rc4 cryptoapi cryptoapi40; do grep -q \"in/\$f.xls.\\?' is encrypted (password to open)\" stderr || exit 1; done"
check "and gets no folder" "[ ! -e out2/agile ] && [ ! -e out2/xor ]"

"$split" -o out3 --password-file missing-file in/xor.xls > /dev/null 2> stderr; rc=$?
check "an unreadable password file is named, exit 2" "[ $rc -eq 2 ] && grep -q 'missing-file' stderr"

# On a terminal: asked for without echo, a wrong answer asked again.
check "a terminal is asked without echo" "/usr/bin/python3 - '$split' <<'PY'
import os, pty, select, sys, time
pid, fd = pty.fork()
if pid == 0:
    os.execv(sys.argv[1], [sys.argv[1], '--list', 'in/xor.xls'])
seen = b''
def read_until(token, limit=20):
    global seen
    end = time.time() + limit
    while token not in seen and time.time() < end:
        r, _, _ = select.select([fd], [], [], 0.5)
        if r:
            try:
                seen += os.read(fd, 4096)
            except OSError:
                break
    return token in seen
assert read_until(b\"Password for 'xor.xls': \"), seen
os.write(fd, b'nope\n')
assert read_until(b'That password does not open it.'), seen
os.write(fd, b'tamberlin\n')
assert read_until(b'Sheet3'), seen
assert b'tamberlin' not in seen and b'nope' not in seen, seen
_, status = os.waitpid(pid, 0)
assert os.WEXITSTATUS(status) == 0, status
PY"

sources_unchanged
exit $fail
