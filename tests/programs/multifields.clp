; kbsh: --run
; Multifields in facts, patterns and functions.
(deftemplate basket (slot owner) (multislot items))
(deffacts start
  (basket (owner ann) (items apple pear plum))
  (basket (owner bob) (items))
  (basket (owner cid) (items pear)))

(deffunction reverse (?list)
  (bind ?result (create$))
  (foreach item ?list
    (bind ?result (insert$ ?result 0 ?item)))
  ?result)

(defrule empty
  (declare (salience 10))
  (basket (owner ?who) (items))
  =>
  (printout t ?who " has nothing" crlf))

(defrule has-pear
  (basket (owner ?who) (items $?before pear $?after))
  =>
  (printout t ?who ": " (length$ ?before) " before, " (length$ ?after) " after the pear" crlf))

(defrule reversed
  (declare (salience -10))
  (basket (owner ann) (items $?all))
  =>
  (printout t (implode$ (reverse ?all)) crlf))

; What a call returns stands for one field, or for as many as it has.
(deffacts numbers (n 3) (n 4) (n 3 4) (n 1 2 3) (basket (owner dot) (items 3 fig)))
(defrule one (n =(+ 1 2)) => (printout t "one" crlf))
(defrule not-one (n ~=(+ 1 2)&?x) => (printout t "not " ?x crlf))
(defrule first (n =(+ 1 2) $?rest) => (printout t "first, then " (length$ ?rest) crlf))
(defrule last (n $? =(+ 1 2)|5) => (printout t "last" crlf))
(defrule run (n =(create$ 1 2) ?x) => (printout t "run, then " ?x crlf))
(defrule in-slot (basket (items =(+ 1 2) fig)) => (printout t "in slot" crlf))

(printout t (subseq$ (create$ a b c d) 1 2) (member$ c (create$ a b c)) crlf)
