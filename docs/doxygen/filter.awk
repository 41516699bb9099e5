# Lets Doxygen read the comments of the public headers as they are written:
#   - A comment documents every declaration that follows it up to the next blank line or comment.
#   - A comment behind a declaration documents that one.
#   - "// --- Title ---" begins a group of operations, up to the next one; a comment below it that
#     ends with a blank line describes the group.
#   - The first comment of a file is the file's; text in it that is indented is an example.

function printFileComment(line) {
  if (line !~ /^\/\//) {
    print (inExample ? "@endcode\n" : "") "*/"
    inFileComment = 0
    return
  }
  sub(/^\/\/ ?/, "", line)
  if (line ~ /^  / && !inExample) { print "@code"; inExample = 1 }
  if (line ~ /^[^ ]/ && inExample) { print "@endcode"; inExample = 0 }
  print line
}

function endGroup() {
  if (inGroup) print "/** @} */"
  inGroup = 0
}

function printGroup(isDescribed) {
  printf "/** @name %s\n", title
  if (isDescribed) {
    gsub(/ *\/\/\/ /, "", comment)
    printf "%s", comment
    comment = ""
  }
  print "*/\n/** @{ */"
  inGroup = 1
  title = ""
}

# Whether the declaration that the line belongs to is over with it.
function isComplete(line) {
  sub(/ *\/\/.*/, "", line)
  depth += gsub(/{/, "{", line) - gsub(/}/, "}", line)
  return inEnum || line ~ /^#/ || line ~ /(public|private):$/ || (depth == base && line ~ /[;}]$/)
}

function printCode(line) {
  if (line ~ /^ private:/ || line ~ /^}/ || line ~ /^#ifdef __cplusplus$/) endGroup()
  behind = sub(/;  +\/\/ /, ";  ///< ", line) || sub(/,  +\/\/ /, ",  ///< ", line)
  if (complete && !behind && line !~ /^ *(}|~|#[^d])/) printf "%s", comment
  print line
  opens = complete && line ~ /^ *(namespace|struct|class|enum|typedef enum|extern "C").*{$/
  closes = complete && line ~ /^ *}/
  complete = isComplete(line)
  if (opens || closes) {
    base = depth
    complete = 1
    comment = ""
    inEnum = opens && line ~ /enum/
  }
  wasComment = 0
}

BEGIN { complete = 1 }
NR == 1 && /^\/\// { print "/** @file"; inFileComment = 1 }
inFileComment { printFileComment($0); if (inFileComment) next }
/= delete;$/ { print ""; next }
{ sub(/ *\/\/ NOLINT.*/, "") }
/^ *\/\/ --- .* -+$/ {
  endGroup()
  gsub(/^ *\/\/ --- | -+$/, "")
  title = $0
  comment = ""
  next
}
title != "" && !/^ *\/\// { printGroup(/^$/) }
/^ *\/\// && complete {
  if (!wasComment) comment = ""
  sub(/\/\//, "///")
  comment = comment $0 "\n"
  wasComment = 1
  next
}
/^$/ && complete { comment = ""; wasComment = 0; print; next }
{ printCode($0) }
