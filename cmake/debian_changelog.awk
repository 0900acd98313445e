# Turns CHANGELOG.md into a Debian changelog: one entry for each released
# version ("## 1.1.1 - 2026-11-21"), its bullets as "*" items, its other
# lines indented; the Unreleased section is left out.
# Variables: package, maintainer.

function trailer() {
    if (version == "") return
    command = "date -uR -d " date
    command | getline when
    close(command)
    printf "\n -- %s  %s\n", maintainer, when
    version = ""
}

/^## / {
    trailer()
    if ($2 ~ /^[0-9]/) {
        version = $2; date = $4; blank = 1
        printf "%s%s (%s) unstable; urgency=medium\n", entries++ ? "\n" : "", package, version
    }
    next
}
version == "" { next }
/^$/ { blank = 1; next }
{
    if (blank) print ""
    blank = 0
    if (sub(/^### /, "")) printf "  %s:\n", $0
    else if (sub(/^- /, "")) printf "  * %s\n", $0
    else printf "  %s\n", $0
}
END { trailer() }
