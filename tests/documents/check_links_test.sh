#!/bin/bash
# That check-links finds what leads nowhere, and nothing else.
#
#   check_links_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

. "$1/tests/support/checks.bash"
check=$1/tests/documents/check-links
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=
mkdir -p "$work/folder/docs"
touch "$work/folder/file" "$work/outside"
printf '# One `word`, two\n\n```sh\n# none\n```\n' >"$work/folder/docs/other.md"

# complaints LINK: what check-links says of a document with this link.
complaints() {
    printf 'See [it](%s).\n\n## Own heading\n' "$1" >"$work/folder/docs/page.md"
    { "$check" "$work/folder" >/dev/null; } 2>&1
}
fails() { ! "$@" >/dev/null 2>&1; }

for good in ../file .. other.md 'other.md#one-word-two' '#own-heading' 'other.md#one-word-two) and [again](../file'; do
    expect "'$good' leads somewhere" equal "$(complaints "$good")" ""
done
for bad in ../gone file '../../outside' 'other.md#none' 'other.md#One-word-two' '#heading' 'gone.md#own-heading'; do
    expect "'$bad' is found" equal "$(complaints "$bad")" "docs/page.md: '$bad' leads nowhere"
    expect "'$bad' fails" fails "$check" "$work/folder"
done
expect "the net is not looked at" equal "$(complaints 'https://example.invalid/x')" "no links in $work/folder"
[[ -z $failed ]]
