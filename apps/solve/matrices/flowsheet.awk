# awk -v units=U [-v drift=D] -f flowsheet.awk >A.mtx
# Writes the matrix of a flowsheet: U units of 8 equations, each fed by the unit before, a recycle from every
# fifth one. Another drift gives other values in the same places.
BEGIN {
  size = 8
  for (unit = 0; unit < units; ++unit) {
    first = unit * size + 1
    for (i = 0; i < size; ++i) {
      add(first + i, first + i, 4)
      for (e = 1; e <= 3; ++e) add(first + i, first + (i + e) % size, 0)
      if (unit > 0) add(first + i, first + i - size, 0)
    }
    if (unit % 5 == 4) add(first - 4 * size, first + size - 1, 0)
  }
  print "%%MatrixMarket matrix coordinate real general"
  print units * size, units * size, count
  for (k = 1; k <= count; ++k) print line[k]
}

function add(row, column, base) {
  line[++count] = sprintf("%d %d %.6f", row, column, base + sin(3.7 * row + 1.3 * column + drift))
}
