#!/bin/bash
# That check-named-tests finds a test that is gone and a statement without one, and nothing else.
#
#   check_named_tests_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

. "$1/tests/support/checks.bash"
check=$1/tests/documents/check-named-tests
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=
mkdir -p "$work/folder/docs"
cat >"$work/folder/a_test.cpp" <<'TESTS'
TEST(Suite, IsPlain) {}
TEST_F(Suite, HasAFixture) {}
TEST_P(
    Suite, HasRows) {}
TESTS
echo 'add_test(NAME docs.stay_true COMMAND true)' >"$work/folder/CMakeLists.txt"

# complaints LINES...: what check-named-tests says of a document of these lines.
complaints() {
    printf '%s\n' "$@" >"$work/folder/docs/page.md"
    { "$check" "$work/folder" >/dev/null; } 2>&1
}
fails() { ! "$@" >/dev/null 2>&1; }

for good in '[`Suite.IsPlain`](../a_test.cpp)' '[`Suite.HasAFixture`](../a_test.cpp)' '[`Suite.HasRows`](../a_test.cpp)' \
    '[`docs.stay_true`](../CMakeLists.txt)'; do
    expect "'$good' is there" equal "$(complaints "See $good.")" ""
done
for bad in 'Suite.IsGone ../a_test.cpp' 'Suite.IsPlain ../gone_test.cpp' 'Other.IsPlain ../a_test.cpp' \
    'Suite.Plain ../a_test.cpp' 'docs.stay ../a_test.cpp' 'docs.are_gone ../CMakeLists.txt' \
    'docs.stay ../CMakeLists.txt'; do
    read -r name file <<<"$bad"
    expect "'$bad' is found" equal "$(complaints "[\`$name\`]($file)")" "docs/page.md: there is no test '$name' in '$file'"
    expect "'$bad' fails" fails "$check" "$work/folder"
done

marked='<!-- each statement names its test -->'
held='- This is held.  [`Suite.IsPlain`](../a_test.cpp)'
expect "an item without a test is found" equal "$(complaints "$marked" "$held" "- This is" "  not." "" "Nor this.")" \
    "docs/page.md: no test is named: - This is not."
expect "a test may stand in an item's second line" equal "$(complaints "$marked" "- This" "  [\`Suite.IsPlain\`](../a_test.cpp)")" ""
expect "other documents may state without a test" equal "$(complaints "$held" "- This is not.")" ""
expect "a folder that names none is found" equal "$(complaints "Nothing.")" "no test is named in $work/folder"
[[ -z $failed ]]
