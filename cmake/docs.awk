# Filter of Doxygen. FILENAME is absolute, -v root=DIR is the directory of the project. Markdown files, and the sources
# of the examples, become pages whose identifier is made from their path. Links to headers and pages become
# references, so that Doxygen reports those that lead nowhere. In headers, the name of a header becomes a
# reference to the description of the family.

function identifier(path, id) { # path relative to root
    id = path
    if (sub(/^(include|support)\//, "", id)) {
        if (id == "merlo64f.h") {
            return "contract"
        }
        sub(/\.h$/, "", id) # a header documents the group of its name
    }
    sub(/\/README\.md$/, "", id)
    sub(/\.md$/, "", id)
    sub(/^docs\//, "", id)
    gsub(/[^A-Za-z0-9]/, "_", id)
    return tolower(id)
}

function resolved(link, path) {
    path = directory link
    sub(/^\.\//, "", path)
    while (sub(/[^\/]+\/\.\.\//, "", path)) {
    }
    return path
}

# The link [text](target): pages below the folder of a README.md become its subpages.
function reference(text, target, path) {
    if (target ~ /^[a-z]+:/ || target ~ /^#/) {
        return "[" text "](" target ")"
    }
    sub(/#.*/, "", target) # the place within a page is lost
    path = resolved(target)
    if (path ~ /\.png$/) {
        sub(/.*\//, "", path)
        return "[" text "](" path ")"
    }
    if (path == "README.md") {
        return "@ref index \"" text "\""
    }
    gsub(/`/, "", text)
    if (file ~ /\/README\.md$/ && target !~ /^\.\./ && !(path in listed)) {
        listed[path]
        return "@subpage " identifier(path) " \"" text "\""
    }
    return "@ref " identifier(path) " \"" text "\""
}

function withReferences(line, result, link, text, target, before) {
    while (match(line, /!?\[[^]]*\]\([^) ]*\)/)) {
        before = substr(line, 1, RSTART - 1)
        link = substr(line, RSTART, RLENGTH)
        line = substr(line, RSTART + RLENGTH)
        text = link
        target = link
        sub(/\]\(.*/, "", text)
        sub(/.*\]\(/, "", target)
        sub(/\)$/, "", target)
        if (sub(/^!\[/, "", text)) {
            sub(/.*\//, "", target)
            link = "![" text "](" target ")"
        } else {
            link = reference(substr(text, 2), target)
        }
        result = result before link
    }
    return result line
}

NR == 1 {
    file = substr(FILENAME, length(root) + 2)
    directory = file
    sub(/[^\/]*$/, "", directory)
    header = file ~ /\.h(pp)?$/
    source = !header && file !~ /\.md$/
    if (source) {
        name = file
        sub(/.*\//, "", name)
        print "# " name " {#" identifier(file) "}\n"
        print "```{.cc}" # the language of .c and .cpp is Markdown here
    } else if (!header && file != "README.md") {
        print $0 " {#" identifier(file) "}"
        next
    }
}
source { print; next }
header && (/^#/ || /^ \*     /) { print; next }
header && /@file$/ { # without it there is no page of the file: links lead to the family
    sub(/ *@file/, "")
    print
    getline
    print " *"
    next
}
header {
    while (match($0, /[a-z0-9]*(64f|fft_tables)\.h[^a-z"]/)) {
        name = substr($0, RSTART, RLENGTH - 1)
        printf "%s@ref %s \"%s\"", substr($0, 1, RSTART - 1), identifier("include/" name), name
        $0 = substr($0, RSTART + RLENGTH - 1)
    }
    print
    next
}
/^ *```/ {
    fenced = !fenced
    sub(/```c(pp)?$/, "```{.cc}")
}
fenced || /^    / { print; next }
{ print withReferences($0) }
END {
    if (source) {
        print "```"
    }
}
