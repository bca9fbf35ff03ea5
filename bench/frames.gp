# gnuplot -c frames.gp <frames.tsv> <result> png|svg <number of subjects>
# What a frame costs that is handed out, written and returned, by its size, beside the peers.
data = ARG1
subjects = int(ARG4)
if (ARG3 eq 'svg') {
    set terminal svg size 1350, 560 font 'DejaVu Sans,13' background '#fbfaf7'
} else {
    set terminal pngcairo size 1700, 700 font 'DejaVu Sans,13' background '#fbfaf7'
}
set output ARG2

set logscale xy
set border 3 linecolor rgb '#888888'
set tics nomirror textcolor rgb '#444444' out scale 0.6
set grid ytics linetype 1 linewidth 0.6 linecolor rgb '#dddad2'
set xtics ('4K' 4096, '64K' 65536, '1M' 1048576, '3.1M' 3110400, '25M' 24883200)
set xlabel 'bytes' textcolor rgb '#444444'
set format y '10^{%T}'
set xrange [3000:40000000]
set key top left reverse Left samplen 2 textcolor rgb '#333333'

array least[3] = [3, 3, 15]
array words[3] = ['untouched', 'one byte of each page written', 'every byte written']
colours = '#2f62a8 #222222 #d98c5f #c8641c #2b8a52 #7a3b8f #b03060 #8a8a2b #5aa0a8'

set multiplot layout 1, 3 margins 0.055, 0.99, 0.14, 0.86 spacing 0.045
set label 1 'CPU time of a heap block: handed out, written, returned' at screen 0.02, 0.955 \
    font 'DejaVu Sans Bold,16' textcolor rgb '#222222'
do for [panel = 0:2] {
    set title words[panel + 1] textcolor rgb '#222222'
    set yrange [least[panel + 1]:(panel == 0 ? 1000000 : 50000000)]
    set ylabel (panel == 0 ? 'nanoseconds' : '') textcolor rgb '#444444'
    # the pool last, so that it lies on top
    plot for [k = 4:subjects + 1] data index panel using 1:k with linespoints pointtype 7 pointsize 0.6 \
             linewidth 1.4 linecolor rgb word(colours, k - 1) title columnheader(k), \
         data index panel using 1:3 with lines linewidth 3 dashtype 2 linecolor rgb word(colours, 2) \
             title columnheader(3), \
         data index panel using 1:2 with linespoints linewidth 3 pointtype 7 pointsize 1 \
             linecolor rgb word(colours, 1) title columnheader(2)
    unset label 1
    unset key
}
unset multiplot
