; Reads deliveries from a text file, line by line, and writes a report about them to another file.
;
; Nothing is read ahead: each line becomes a fact before the next one is looked at. Lines that do not say what they
; should are gathered too, and the report tells about them.

(deftemplate delivery (slot day) (slot supplier) (slot article) (slot pieces) (slot price))
(deftemplate supplier (slot name) (slot deliveries) (slot value))
(deftemplate unreadable (slot line) (slot text) (slot reason))

(defglobal ?*source* = "deliveries.txt"
           ?*seeded* = (randomize)  ; so that no other run writes to the same file
           ?*report* = (str-cat (get-temp-path) (dir-delim) "report-" (random 1 1000000000) ".txt"))

(deffunction make-delivery (?words)
  (if (neq (length$ ?words) 5) then (throw (str-cat (length$ ?words) " words instead of 5")))
  (assert (delivery (day (nth$ 0 ?words)) (supplier (nth$ 1 ?words)) (article (nth$ 2 ?words))
                    (pieces (integer (nth$ 3 ?words))) (price (float (nth$ 4 ?words))))))

; An empty line and the end of the file look the same to readline, so the file is over after two of them in a row.
(deffunction read-deliveries (?name)
  (open ?name deliveries r)
  (bind ?number 0)
  (bind ?empty 0)
  (while (< ?empty 2) do
    (bind ?text (readline deliveries))
    (bind ?number (+ ?number 1))
    (if (eq ?text EOF)
     then (bind ?empty (+ ?empty 1))
     else
      (bind ?empty 0)
      (if (neq (sub-string 1 1 ?text) "#")
       then
        (try (make-delivery (explode$ ?text))
         catch (assert (unreadable (line ?number) (text ?text) (reason ?__ERROR)))))))
  (close deliveries))

(defrule start
  (declare (salience 100))
  =>
  (read-deliveries ?*source*)
  (open ?*report* report w)
  (printout report "Deliveries of the file " (get-filename ?*source*) crlf crlf))

(defrule new-supplier
  (declare (salience 20))
  (delivery (supplier ?name))
  (not (supplier (name ?name)))
  =>
  (assert (supplier (name ?name) (deliveries 0) (value 0.0))))

(defrule add-up
  (declare (salience 10))
  ?delivery <- (delivery (day ?day) (supplier ?name) (article ?article) (pieces ?pieces) (price ?price))
  ?supplier <- (supplier (name ?name) (deliveries ?count) (value ?value))
  =>
  (format report "%s %-8s %5d %-8s %8.2f%n" ?day ?name ?pieces ?article (* ?pieces ?price))
  (retract ?delivery)
  (modify ?supplier (deliveries (+ ?count 1)) (value (+ ?value (* ?pieces ?price)))))

(defrule tell-about-supplier
  (supplier (name ?name) (deliveries ?count) (value ?value))
  =>
  (format report "%-8s %d deliveries, %.2f in all%n" ?name ?count ?value))

(defrule tell-about-line
  (declare (salience -10))
  (unreadable (line ?line) (text ?text) (reason ?reason))
  =>
  (printout report "line " ?line " left out (" ?reason "): " ?text crlf))

; The report is shown as well, and removed, since this is only an example.
(defrule finish
  (declare (salience -100))
  =>
  (close report)
  (open ?*report* report)
  (bind ?empty 0)
  (while (< ?empty 2) do
    (bind ?text (readline report))
    (if (eq ?text EOF) then (bind ?empty (+ ?empty 1)) else (bind ?empty 0))
    (if (neq ?text EOF) then (printout t ?text crlf)))
  (close report)
  (printout t "report removed: " (remove ?*report*) crlf))
