# Draws how the cost grows with the number of records:
# gnuplot -e "series='FILE'; picture='FILE'" results.gp

set terminal svg size 1000,720 font 'sans-serif,13' background 'white'
set output picture
set datafile separator '\t'
set logscale xy
set format x '%.0s%c'
set format y '%.0s %cs'
set xrange [700:140000]
set xlabel 'records' offset 0,0.3
set yrange [1e-6:2]
set grid ytics lc rgb '#e4e4e4' lt 1
set border 3 lc rgb '#707070'
set tics nomirror textcolor rgb '#303030'
set style data linespoints

set linetype 1 lc rgb '#808080' lw 4 pt 7 ps 0.7 dt 1
set linetype 2 lc rgb '#d95f02' lw 2 pt 5 ps 0.6 dt 1
set linetype 3 lc rgb '#1f5fa8' lw 2 pt 9 ps 0.6 dt 1
set linetype 4 lc rgb '#1b9e77' lw 2 pt 11 ps 0.6 dt 2

# The times in a column of the rows of an operation.
of(operation, column) = \
  strcol(1) eq operation && strcol(2) eq 'disk' && column(column) > 0 \
  ? column(column) : NaN

set multiplot layout 2,3 margins 0.10,0.98,0.09,0.80 spacing 0.07,0.17
set label 1 'Time for one operation on disk,' at screen 0.03,0.955 font ',18'
set label 2 'by the number of records' at screen 0.03,0.915 \
  font ',18'
set key at screen 0.5,0.99 center top vertical samplen 3
panel = 0
do for [operation in "'list' 'match 1 in 100' 'GetRecord' 'count' \
                      'read by id' 'add, id allocated'"] {
  if (operation eq 'list' || operation eq 'count') {
    set ylabel 'time for one operation'
  } else {
    unset ylabel
  }
  set title operation font ',15' offset 0,-0.4
  if (panel % 3 == 0) { set ylabel 'time' } else { unset ylabel }
  plot series using 3:(of(operation, 4)) title 'floor: bare system calls', \
       series using 3:(of(operation, 5)) title 'library', \
       series using 3:(of(operation, 6)) title 'SQLite, rollback journal', \
       series using 3:(of(operation, 7)) title 'SQLite, WAL'
  unset key
  unset label
  panel = panel + 1
}
unset multiplot
