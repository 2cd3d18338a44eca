# Draws the picture of the README from a history of corvidnum-recycle, as SVG:
#
#   corvidnum-recycle apps/recycle/cases/cavett.toml --compare --csv history.csv
#   LC_ALL=C awk -f docs/images/convergence.awk history.csv > docs/images/convergence.svg
#
# One line a method: the largest change of a rate in each pass, on a logarithmic scale; a ring on each pass
# after which an extrapolated step was taken.

BEGIN {
  FS = ","
  width = 720; height = 400; left = 78; right = 676; top = 62; bottom = 340
  last_pass = 160; high = -1; low = -9  # exponents of ten
  class["direct"] = "plain"; class["dominant"] = "one"; class["multiple"] = "more"
}
FNR > 1 && $1 in class {
  points[$1] = points[$1] sprintf(" %.1f,%.1f", across($2), down($3))
  if ($4 ~ /^taken/) rings[$1] = rings[$1] sprintf("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"4\"/>", across($2), down($3))
  passes[$1] = $2
}
function across(pass) { return left + (right - left) * pass / last_pass }
function down(change) { return top + (bottom - top) * (high - log(change) / log(10)) / (high - low) }
function text(style, x, y, words) { printf "<text class=\"%s\" x=\"%.0f\" y=\"%.0f\">%s</text>\n", style, x, y, words }
END {
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" role=\"img\"", width, height
  printf " aria-label=\"Convergence of a recycle flowsheet: %d passes direct,", passes["direct"]
  printf " %d with one eigenvalue, %d with four\">\n", passes["dominant"], passes["multiple"]
  print "<style>"
  print "svg { --paper: #ffffff; --ink: #24292f; --grid: #d8dee4; --plain: #6e7781; --one: #bc4c00; --more: #0969da }"
  print "@media (prefers-color-scheme: dark) {"
  print "svg { --paper: #161b22; --ink: #e6edf3; --grid: #30363d; --plain: #9198a1; --one: #f0883e; --more: #58a6ff } }"
  print "text { font: 17px system-ui, \"DejaVu Sans\", sans-serif; fill: var(--ink) }"
  print ".title { font-weight: 600 } .end { text-anchor: end } .middle { text-anchor: middle }"
  print "polyline, circle { fill: none; stroke-width: 2.5; stroke-linejoin: round } circle { fill: var(--paper) }"
  print ".grid { stroke: var(--grid); fill: none }"
  print "polyline.plain, .plain circle { stroke: var(--plain) } text.plain { fill: var(--plain) }"
  print "polyline.one, .one circle { stroke: var(--one) } text.one { fill: var(--one) }"
  print "polyline.more, .more circle { stroke: var(--more) } text.more { fill: var(--more) }"
  print "</style>"
  printf "<rect x=\"1\" y=\"1\" width=\"%d\" height=\"%d\" rx=\"10\" fill=\"var(--paper)\" stroke=\"var(--grid)\"/>\n", width - 2, height - 2
  text("title", 24, 36, "Largest change of a rate in a pass, as part of the feed")
  for (e = high; e >= low; e -= 2) {
    y = down(10 ^ e)
    printf "<path class=\"grid\" d=\"M%d %.1fH%d\"/>\n", left, y, right
    text("end", left - 10, y + 6, "10<tspan dy=\"-7\" font-size=\"12\">−" (-e) "</tspan>")
  }
  for (p = 0; p <= last_pass; p += 40) text("middle", across(p), bottom + 24, p)
  text("middle", (left + right) / 2, bottom + 46, "passes through Cavett’s four flash drums, two recycles")
  split("direct dominant multiple", order, " ")
  for (i = 1; i <= 3; ++i) {
    m = order[i]
    printf "<polyline class=\"%s\" points=\"%s\"/>\n<g class=\"%s\">%s</g>\n", class[m], substr(points[m], 2), class[m], rings[m]
  }
  text("plain", across(88), down(6e-5), "plain substitution: " passes["direct"] " passes")
  text("one", across(39), down(6e-8), "one eigenvalue: " passes["dominant"] " passes")
  text("more", across(39), down(8e-9), "four eigenvalues: " passes["multiple"] " passes")
  print "</svg>"
}
