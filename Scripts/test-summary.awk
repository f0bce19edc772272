# The closing lines of a test run, from ctest's JUnit file: what failed says, then the counts, then the skipped tests with
# their reasons. Exits with 1 unless every test passed or was skipped by itself.
#   awk -v preset=NAME -f Scripts/test-summary.awk FILE
function plain(text) {
    gsub(/&lt;/, "<", text); gsub(/&gt;/, ">", text); gsub(/&quot;/, "\"", text); gsub(/&amp;/, "\\&", text)
    return text
}
{ sub(/\r$/, "") }
/<testcase / {
    split($0, parts, "\"")
    name = parts[2]
    status = parts[8]
    reason = output = ""
    inReason = 0
}
/<skipped message=/ { status = /SKIP_REGULAR_EXPRESSION/ ? "skipped" : "fail" }
/\[  SKIPPED \]/ { inReason = 0 }
inReason { reason = reason (reason == "" ? "" : " ") plain($0) }
/: Skipped$/ { inReason = reason == "" }
{ output = output plain($0) "\n" }
/<\/testcase>/ {
    if (status == "run") {
        ++passed
    } else if (status == "skipped") {
        skipped[++skips] = name ": " (reason == "" ? "no reason given" : reason)
    } else {
        ++fails
        failed = failed "\n  failed: " name
        printf "---- %s\n%s", name, output
    }
}
END {
    printf "tests (%s): %d run, %d passed, %d failed, %d skipped%s\n", preset, passed + fails, passed, fails, skips, failed
    for (i = 1; i <= skips; ++i)
        print "  skipped: " skipped[i]
    exit fails > 0 || passed == 0
}
