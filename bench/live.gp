# gnuplot -c live.gp <live.tsv> <result> png|svg
# What one operation costs against the number of live blocks: one panel for one size, one for mixed sizes.
data = ARG1
if (ARG3 eq 'svg') {
    set terminal svg size 1200, 560 font 'DejaVu Sans,13' background '#fbfaf7'
} else {
    set terminal pngcairo size 1500, 700 font 'DejaVu Sans,13' background '#fbfaf7'
}
set output ARG2

set logscale xy
set border 3 linecolor rgb '#888888'
set tics nomirror textcolor rgb '#444444' out scale 0.6
set grid ytics linetype 1 linewidth 0.6 linecolor rgb '#dddad2'
set format x '10^{%T}'
set format y '10^{%T}'
set xlabel 'live blocks' textcolor rgb '#444444'
set xrange [7:*]
set yrange [30:200000]
set key top left reverse Left samplen 2 textcolor rgb '#333333'

array name[5] = ['hand out and return one idle block', 'return any block, take one of its size', \
                 'return alone, any block', 'a new heap block', 'give one of n idle blocks back']
array colour[5] = ['#2f62a8', '#2b8a52', '#8a8a2b', '#c8641c', '#7a3b8f']

set multiplot layout 1, 2 margins 0.065, 0.985, 0.11, 0.86 spacing 0.07
set label 1 'CPU time of one operation, by the number of blocks that the heap pool has out' at screen 0.02, 0.955 \
    font 'DejaVu Sans Bold,16' textcolor rgb '#222222'
do for [panel = 0:1] {
    set title (panel == 0 ? 'one size' : 'mixed sizes') textcolor rgb '#222222'
    set ylabel (panel == 0 ? 'nanoseconds' : '') textcolor rgb '#444444'
    plot for [k = 1:5] data index 5 * panel + k - 1 using 1:2 with linespoints linewidth 2 pointtype 7 pointsize 0.9 \
        linecolor rgb colour[k] title (panel == 0 ? name[k] : '')
    unset label 1
    unset key
}
unset multiplot
