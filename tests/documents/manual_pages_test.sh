#!/bin/bash
# That a manual page which no longer is its program's is found, and what tools/manual-page makes of a help.
#
#   manual_pages_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

. "$1/tests/support/checks.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=
mkdir -p "$work/packaging/man" "$work/tests"
cp -r "$1/tools" "$1/CMakeLists.txt" "$work"
cp -r "$1/tests/documents" "$work/tests"
cd "$work" || exit

cat >program <<'PROGRAM'
#!/bin/sh
[ "$1" = --help ] || { echo 'program (ruxogps) 1.2.3'; exit; }
cat <<'HELP'
Usage: program FILE [OPTIONS]

Looks at a file.

What is shown:
  -o, --output FILE  what is written:
                       .html  a page
                       .svg   a picture
  --long-option NAME,VALUE
                     words that stand below their option
  -h, --help         prints this text

Exit status: 0 when it is fine;
2 for a wrong option.
HELP
PROGRAM
chmod 755 program
printf 'For the test.\n\n[name]\nprogram \\- look at a file\n\n[see also]\n.BR others (1)\n' >packaging/man/program.h2m

complaints() { tests/documents/manual-pages ./program 2>&1; }

expect "a page is made" tools/manual-page ./program >packaging/man/program.1
page=$(<packaging/man/program.1)
expect "its version, and no date" contains "$page" '.TH PROGRAM "1" "" "ruxogps 1.2.3" "Tools on the unit"'
expect "its name" contains "$page" 'program \- look at a file'
expect "a list in an option's words" contains "$page" $'what is written:\n.br\n\\&.html: a page\n.br\n\\&.svg: a picture\n.TP'
expect "words below an option" contains "$page" $'NAME,VALUE\nwords that stand below their option\n.TP'
expect "its exit status" contains "$page" $'.SH "EXIT STATUS"\n0 when it is fine;\n2 for a wrong option.'
expect "what the help is too short for" contains "$page" '.BR others (1)'
expect "it is current" equal "$(complaints)" "manual pages: 1"
sed -i 's/prints this text/prints something else/' program
expect "another help is found" contains "$(complaints)" "+prints something else"
expect "with the command that mends it" contains "$(complaints)" "tools/manual-page ./program >packaging/man/program.1"
rm packaging/man/program.h2m
expect "no page without a name" equal "$(tools/manual-page ./program 2>&1; echo $?)" \
    "manual-page: packaging/man/program.h2m is missing: it has the page's name and its further sections"$'\n1'
[[ -z $failed ]]
