; Goals: what a join asks for, when it asks, and when it does not.
(deftemplate item (slot name))
(deftemplate price (slot item) (slot value))
(deftemplate route (multislot stops))
(do-backward-chaining price route)
(watch facts)

; A rule that comes after its facts asks before the call that added it returns.
(assert (item (name early)))
(defrule buy (item (name ?i)) (price (item ?i) (value ?p)) => (printout t "buy " ?i " for " ?p crlf))

; A chain with a partner asks nothing; one whose partner goes asks nothing either, but the goal still stands and its
; rule comes alive again.
(assert (price (item known) (value 1)))
(assert (item (name known)))
(defrule price-of ?g <- (need-price (item ?i)) => (printout t "price of " ?i "?" crlf) (assert (price (item ?i) (value 5))))
(run)
(retract-string "(price (item early) (value 5))")
(run)

; Adding a rule on standing facts brings back what the rules that share its patterns have fired already.

; Two chains with the same want make one goal. Constants are part of the goal, "not" tests and unbound variables are not;
; fields of a multislot keep their places.
(defrule travel (item (name ?i)) (route (stops start ?i ?next ~bad)) => (printout t "travel " ?i " " ?next crlf))
(defrule cheap (item (name ?i)) (price (item ?i) (value 2)) =>)

; An explicit pattern asks nothing; a negated one asks when it is blocked.
(assert (price (item twice) (value 3)))
(defrule told (item (name ?i)) (explicit (price (item ?i) (value 77))) => (printout t "told " ?i crlf))
(defrule not-there (item (name ?i)) (not (price (item ?i) (value 3))) => (printout t "not at 3: " ?i crlf))
(assert (item (name twice)))
(run)

; A chain of goals: each step needs the next.
(deftemplate base (slot of) (slot is))
(deftemplate middle (slot of) (slot is))
(deftemplate top (slot of) (slot is))
(do-backward-chaining base middle top)
(defrule want-top (want ?x) (top (of ?x) (is ?v)) => (printout t "top of " ?x " is " ?v crlf))
(defrule make-top (need-top (of ?x)) (middle (of ?x) (is ?v)) => (assert (top (of ?x) (is (+ ?v 1)))))
(defrule make-middle (need-middle (of ?x)) (base (of ?x) (is ?v)) => (assert (middle (of ?x) (is (* ?v 10)))))
(defrule make-base (need-base (of ?x)) => (assert (base (of ?x) (is 4))))
(assert (want a))
(run)

; What cannot be asked for.
(unwatch all)
(try (do-backward-chaining not) catch (printout t ?__ERROR crlf))
(try (do-backward-chaining test) catch (printout t ?__ERROR crlf))
