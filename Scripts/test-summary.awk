# The closing lines of a test run, from ctest's JUnit file: what failed says, then the counts, then the skipped tests with
# their reasons. A program that runs several tests counts with each of them. Exits with 1 unless every test passed or was
# skipped by itself.
#   awk -v preset=NAME -f Scripts/test-summary.awk FILE
function plain(text) {
    gsub(/&lt;/, "<", text); gsub(/&gt;/, ">", text); gsub(/&quot;/, "\"", text); gsub(/&amp;/, "\\&", text)
    return text
}
function fail(what) {
    ++fails
    failed = failed "\n  failed: " what
}
{ sub(/\r$/, "") }
/<testcase / {
    split($0, parts, "\"")
    name = parts[2]
    status = parts[8]
    reason = output = running = ""
    inReason = ended = 0
    failsBefore = fails
}
/<skipped message=/ { status = /SKIP_REGULAR_EXPRESSION/ ? "skipped" : "fail" }
/\[ RUN      \] / {
    running = $0
    sub(/.*\[ RUN      \] /, "", running)
    reason = ""
}
/\[  SKIPPED \]/ { inReason = 0 }
/\[(       OK |  FAILED  |  SKIPPED )\] .* \([0-9]+ ms\)$/ {
    if (/  FAILED  \]/)
        fail(running)
    else if (/  SKIPPED \]/)
        skipped[++skips] = running ": " (reason == "" ? "no reason given" : reason)
    else
        ++passed
    ++ended
    running = ""
}
inReason { reason = reason (reason == "" ? "" : " ") plain($0) }
/: Skipped$/ { inReason = reason == "" }
{ output = output plain($0) "\n" }
/<\/testcase>/ {
    if (running != "")
        fail(running ", which ended its program")
    else if (status == "fail" && fails == failsBefore)
        fail(name)
    else if (status == "run" && !ended)
        ++passed
    if (status == "fail" || fails > failsBefore)
        printf "---- %s\n%s", name, output
}
END {
    printf "tests (%s): %d run, %d passed, %d failed, %d skipped%s\n", preset, passed + fails, passed, fails, skips, failed
    for (i = 1; i <= skips; ++i)
        print "  skipped: " skipped[i]
    exit fails > 0 || passed == 0
}
