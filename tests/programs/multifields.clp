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

(printout t (subseq$ (create$ a b c d) 1 2) (member$ c (create$ a b c)) crlf)
