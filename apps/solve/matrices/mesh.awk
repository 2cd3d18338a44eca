# awk -v rows=R -v columns=C -f mesh.awk >A.mtx
# Writes the matrix of a triangulated rectangle of R x C nodes that are numbered at random, always the same:
# 7 for each node, -1 for each edge. A reordering finds the bands again.
BEGIN {
  nodes = rows * columns
  for (k = 1; k <= nodes; ++k) number[k] = k
  for (k = nodes; k > 1; --k) swap(k, 1 + random() % k)
  for (i = 0; i < rows; ++i)
    for (j = 0; j < columns; ++j) {
      line[++count] = number[node(i, j)] " " number[node(i, j)] " 7"
      if (j > 0) add_edge(node(i, j), node(i, j - 1))
      if (i > 0) add_edge(node(i, j), node(i - 1, j))
      if (i > 0 && j > 0) add_edge(node(i, j), node(i - 1, j - 1))
    }
  print "%%MatrixMarket matrix coordinate integer symmetric"
  print nodes, nodes, count
  for (k = 1; k <= count; ++k) print line[k]
}

function node(i, j) { return i * columns + j + 1 }

function swap(k, other,  held) { held = number[k]; number[k] = number[other]; number[other] = held }

# Park and Miller's generator: the same numbers with every awk, which rand() does not promise.
function random() { return seed = (seed ? seed : 1) * 16807 % 2147483647 }

# The lower half is written.
function add_edge(one, other,  a, b) {
  a = number[one]; b = number[other]
  line[++count] = (a > b ? a " " b : b " " a) " -1"
}
