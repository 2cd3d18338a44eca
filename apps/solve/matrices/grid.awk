# awk -v side=S -f grid.awk >A.mtx
# Writes the matrix of convection and diffusion on a square of S x S nodes, numbered line by line: central
# differences in a flow that whirls around the middle, of mesh Peclet number 0.8 at its fastest. The diagonal
# is heavy, but no heavier than its row is in all.
BEGIN {
  for (i = 0; i < side; ++i)
    for (j = 0; j < side; ++j) {
      node = i * side + j + 1
      add(node, node, 4)
      add_pair(node, j, 1, 0.8 * from_middle(i))
      add_pair(node, i, side, -0.8 * from_middle(j))
    }
  print "%%MatrixMarket matrix coordinate real general"
  print side * side, side * side, count
  for (k = 1; k <= count; ++k) print line[k]
}

function from_middle(place) { return 2 * place / (side - 1) - 1 }

# The neighbours on either side along one axis, on which the node has this place.
function add_pair(node, place, stride, drift) {
  if (place > 0) add(node, node - stride, -1 - drift)
  if (place < side - 1) add(node, node + stride, -1 + drift)
}

function add(row, column, value) { line[++count] = sprintf("%d %d %.6f", row, column, value) }
