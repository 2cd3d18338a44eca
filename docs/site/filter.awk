# Turns a page of the repository, as GitHub shows it, into one that Doxygen reads: names the page after its file, and
# makes links to other pages, pictures and the licence those of the site. A link that shows a page's path shows its
# title instead. Lines stay lines, for the warnings' numbers.

BEGIN {
  # Names that Doxygen links by itself only with their namespace or with parentheses.
  names = "SparseSolver FixedPoint gpskca LineFit DataGraph_FreeLinks"
  symbol_count = split(names, symbols, " ")
  for (i = 1; i <= 2; ++i) scope[symbols[i]] = "corvidnum::"
}
function page(path) {
  sub(/.*\//, "", path)
  sub(/\.md$/, "", path)
  path = tolower(path)
  gsub(/_/, "-", path)
  return path == "readme" ? "index" : path
}
# slug(HEADING): the place of a heading within its page, as GitHub names it.
function slug(heading) {
  heading = tolower(heading)
  gsub(/[^a-z0-9 _-]/, "", heading)
  gsub(/ /, "-", heading)
  return heading
}
# title(PATH): the title of a page that the present one calls PATH.
function title(path,   folder, line) {
  folder = FILENAME
  sub(/[^\/]*$/, "", folder)
  if ((getline line <(folder path)) > 0) sub(/^# /, "", line)
  close(folder path)
  return line
}
# with_links(LINE): LINE with the target of each [text](target) turned into one of the site.
function with_links(line,   out, text, target, place, open) {
  while (match(line, /!?\[[^]]*\]\([^)]*\)/)) {
    out = out substr(line, 1, RSTART - 1)
    text = substr(line, RSTART, RLENGTH)
    line = substr(line, RSTART + RLENGTH)
    open = index(text, "](")
    target = substr(text, open + 2, length(text) - open - 2)
    text = substr(text, 1, open - 1)
    if (text ~ /^!/) {
      sub(/.*\//, "", target)
      out = out "<img src=\"" target "\" alt=\"" substr(text, 3) "\"/>"
    } else if (target ~ /^[A-Za-z_.\/-]*\.md(#.*)?$/) {
      if (text == "[" target) text = "[" title(target)
      place = ""
      if (match(target, /#.*/)) {
        place = "-" substr(target, RSTART + 1)
        target = substr(target, 1, RSTART - 1)
      }
      out = out text "](@ref " page(target) place ")"
    } else if (target ~ /^#/) {
      out = out text "](@ref " page(FILENAME) "-" substr(target, 2) ")"
    } else if (target ~ /(^|\/)LICENSE$/) {
      out = out "<a href=\"LICENSE.txt\">" substr(text, 2) "</a>"
    } else {
      out = out text "](" target ")"
    }
  }
  return out line
}
/^```/ { in_code = !in_code }
in_code || /^    / { print; next }
/^<!-- sample: .* -->$/ { print ""; next }
FNR == 1 && /^# / && FILENAME !~ /README\.md$/ { gsub(/`/, ""); print $0 " {#" page(FILENAME) "}"; next }
{
  line = with_links($0)
  if (line ~ /^##/) {
    gsub(/`/, "", line)  # which Doxygen does not know in headings
    heading = line
    sub(/^#+ /, "", heading)
    heading = page(FILENAME) "-" slug(heading)
    line = line " {#" heading (count[heading]++ ? "-" count[heading] - 1 : "") "}"
  } else {
    gsub(/Matrix Market/, "%&", line)  # no link to the class Matrix
    for (i = 1; i <= symbol_count; ++i)
      gsub("`" symbols[i] "`", "<tt>@ref " scope[symbols[i]] symbols[i] " \"" symbols[i] "\"</tt>", line)
  }
  print line
}
