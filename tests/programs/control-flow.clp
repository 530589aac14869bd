; Conditions, loops and functions of the language.
(deffunction sign (?n)
  "The sign of a number as a word."
  (if (< ?n 0) then (return negative))
  (if (= ?n 0) then zero else positive))

(deffunction factorial (?n)
  (if (<= ?n 1) then 1 else (* ?n (factorial (- ?n 1)))))

(deffunction gcd (?a ?b)
  (while (<> ?b 0) do
    (bind ?rest (mod ?a ?b))
    (bind ?a ?b)
    (bind ?b ?rest))
  ?a)

(deffunction first-above (?limit $?numbers)
  (foreach n ?numbers
    (if (> ?n ?limit) then (return ?n)))
  none)

(printout t (sign -3) " " (sign 0) " " (sign 8) crlf)
(printout t (factorial 10) " " (gcd 1071 462) crlf)
(printout t (first-above 4 1 3 5 7) " " (first-above 10 1 2) crlf)
(bind ?i 0)
(while (< ?i 3)
  (foreach color (create$ red green)
    (printout t ?i "-" ?color " "))
  (bind ?i (+ ?i 1)))
(printout t crlf)
(if (> ?i 2) then
  (printout t "three" crlf)
  (printout t "times" crlf)
 else
  (printout t "never" crlf))
