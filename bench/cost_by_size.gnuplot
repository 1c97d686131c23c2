# One line for each table: instructions of a parse against the section's bytes.
set terminal svg size 760,460 font "sans-serif,13" background "white"
set xlabel "bytes of the section"
set ylabel "instructions of a parse (x86-64)"
set key left top
set grid
set xrange [0:*]
set yrange [0:*]
tables = "PAT PMT SDT NIT EIT TOT AIT"
plot for [table in tables] table using 1:2 with linespoints pointtype 7 pointsize 0.5 title table
