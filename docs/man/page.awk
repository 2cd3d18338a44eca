# awk -v program=PROGRAM -v version=VERSION -f page.awk TEMPLATE
# Prints a manual page: the template with the version in place of @VERSION@, and with what the program itself says
# of its options, so that page and program cannot differ. A line of the template
#   @OPTIONS WORD...@   becomes the options that `PROGRAM WORD... --help` lists, as tagged paragraphs;
#   @FOOTER@            becomes what that help has behind them.

function escaped(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  sub(/^[.']/, "\\\\\\&&", text)
  return text
}

# An option and its argument: the names are bold, what stands for a value is italic.
function print_tag(tag,   count, words, i, line) {
  sub(/ REQUIRED$/, "", tag)
  count = split(tag, words, " ")
  line = "\\fB" escaped(words[1]) "\\fR"
  for (i = 2; i <= count; ++i) line = line (i == 2 ? " \\fI" : " ") escaped(words[i])
  print ".TP"
  print line (count > 1 ? "\\fR" : "")
}

# Prints an option of the help. Its text begins in column 31 of the first line, or else that of the second line.
function print_option(first, second,   two_lines, tag, text) {
  two_lines = second ~ /^                              /
  tag = two_lines ? first : substr(first, 1, 30)
  text = two_lines ? second : substr(first, 31)
  sub(/^ +/, "", tag)
  sub(/ +$/, "", tag)
  sub(/^ +/, "", text)
  print_tag(tag)
  if (text != "") print escaped(text)
  ++options
}

# Prints the options that the help lists under their heading, or what stands behind all the lists.
function print_help(arguments, footer,   command, lines, count, i, section) {
  command = "'" program "' " arguments " --help"
  for (count = 0; (command | getline lines[count + 1]) > 0;) ++count
  if (close(command) != 0) { print command " failed" >"/dev/stderr"; failed = 1; exit 1 }
  lines[count + 1] = ""
  for (i = 1; i <= count; ++i) {
    if (lines[i] ~ /^(Positionals|Options|Subcommands):$/) section = lines[i]
    else if (section != "" && lines[i] ~ /^[^ ]/) section = "footer"
    if (section == "Options:" && !footer && lines[i] ~ /^  [^ ]/) print_option(lines[i], lines[i + 1])
    if (section == "footer" && footer) print lines[i] == "" ? ".PP" : escaped(lines[i])
  }
}

/^@OPTIONS.*@$/ { sub(/^@OPTIONS */, ""); sub(/@$/, ""); print_help($0, 0); next }
/^@FOOTER@$/ { print_help("", 1); next }
{ gsub(/@VERSION@/, version); print }
END { if (!failed && program != "" && options == 0) { print "no options in " FILENAME >"/dev/stderr"; exit 1 } }
