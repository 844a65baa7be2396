// Every text that a visitor reads, in five languages. A site may replace any of them.

export interface Texts {
  title: string;
  open: string;
  close: string;
  unread: string;
  greeting: string;
  oneWay: string;
  placeholder: string;
  send: string;
  you: string;
  agent: string;
  connecting: string;
  here: string;
  away: string;
  lost: string;
  sending: string;
  sent: string;
  tooLong: string;
  tooMany: string;
  formIntro: string;
  formName: string;
  formContact: string;
  formText: string;
  formSend: string;
  formThanks: string;
  formFailed: string;
  arrival: string;
  refused: string;
}

const en: Texts = {
  title: 'Chat with us',
  open: 'Open the chat',
  close: 'Close the chat',
  unread: '{count} unread',
  greeting: 'Hello! How can we help you?',
  oneWay: 'Answers do not appear here. Please leave a way to reach you in your message.',
  placeholder: 'Your message',
  send: 'Send',
  you: 'You',
  agent: 'Support',
  connecting: 'Connecting…',
  here: 'We are here',
  away: 'Nobody is here right now',
  lost: 'No connection. Trying again…',
  sending: 'Sending…',
  sent: 'Sent',
  tooLong: 'This message is too long.',
  tooMany: 'Please wait a moment before you write again.',
  formIntro: 'Nobody is here right now. Leave us a message and we will get back to you.',
  formName: 'Your name',
  formContact: 'E-mail or telephone',
  formText: 'Your message',
  formSend: 'Leave the message',
  formThanks: 'Thank you. We have your message.',
  formFailed: 'Your message could not be stored. Please try again later.',
  arrival: 'has opened the chat page',
  refused: 'The chat is not available.',
};

const zh: Texts = {
  title: '在线咨询',
  open: '打开咨询窗口',
  close: '关闭咨询窗口',
  unread: '{count} 条未读',
  greeting: '您好，请问有什么可以帮您？',
  oneWay: '回复不会显示在本窗口，请在留言中写明您的联系方式。',
  placeholder: '请输入消息',
  send: '发送',
  you: '您',
  agent: '客服',
  connecting: '正在连接…',
  here: '客服在线',
  away: '客服暂时不在',
  lost: '连接已断开，正在重试…',
  sending: '正在发送…',
  sent: '已发送',
  tooLong: '消息太长了。',
  tooMany: '发送过于频繁，请稍候。',
  formIntro: '客服暂时不在，请留言，我们会尽快与您联系。',
  formName: '您的称呼',
  formContact: '邮箱或电话',
  formText: '留言内容',
  formSend: '提交留言',
  formThanks: '谢谢，我们已收到您的留言。',
  formFailed: '留言未能保存，请稍后再试。',
  arrival: '打开了咨询页面',
  refused: '咨询服务暂不可用。',
};

const de: Texts = {
  title: 'Chatten Sie mit uns',
  open: 'Chat öffnen',
  close: 'Chat schließen',
  unread: '{count} ungelesen',
  greeting: 'Guten Tag! Wie können wir Ihnen helfen?',
  oneWay: 'Antworten erscheinen hier nicht. Bitte nennen Sie in Ihrer Nachricht, wie wir Sie erreichen.',
  placeholder: 'Ihre Nachricht',
  send: 'Senden',
  you: 'Sie',
  agent: 'Support',
  connecting: 'Verbindung wird aufgebaut…',
  here: 'Wir sind da',
  away: 'Gerade ist niemand da',
  lost: 'Keine Verbindung. Neuer Versuch…',
  sending: 'Wird gesendet…',
  sent: 'Gesendet',
  tooLong: 'Diese Nachricht ist zu lang.',
  tooMany: 'Bitte warten Sie einen Moment, bevor Sie weiterschreiben.',
  formIntro: 'Gerade ist niemand da. Hinterlassen Sie uns eine Nachricht, wir melden uns.',
  formName: 'Ihr Name',
  formContact: 'E-Mail oder Telefon',
  formText: 'Ihre Nachricht',
  formSend: 'Nachricht hinterlassen',
  formThanks: 'Vielen Dank. Wir haben Ihre Nachricht.',
  formFailed: 'Ihre Nachricht konnte nicht gespeichert werden. Bitte versuchen Sie es später noch einmal.',
  arrival: 'hat die Chatseite geöffnet',
  refused: 'Der Chat ist nicht verfügbar.',
};

const fr: Texts = {
  title: 'Discutez avec nous',
  open: 'Ouvrir la discussion',
  close: 'Fermer la discussion',
  unread: '{count} non lus',
  greeting: 'Bonjour ! Comment pouvons-nous vous aider ?',
  oneWay: 'Les réponses n’apparaissent pas ici. Indiquez dans votre message comment vous joindre.',
  placeholder: 'Votre message',
  send: 'Envoyer',
  you: 'Vous',
  agent: 'Conseiller',
  connecting: 'Connexion…',
  here: 'Nous sommes là',
  away: 'Personne n’est là pour le moment',
  lost: 'Pas de connexion. Nouvel essai…',
  sending: 'Envoi…',
  sent: 'Envoyé',
  tooLong: 'Ce message est trop long.',
  tooMany: 'Patientez un instant avant d’écrire à nouveau.',
  formIntro: 'Personne n’est là pour le moment. Laissez-nous un message, nous vous répondrons.',
  formName: 'Votre nom',
  formContact: 'E-mail ou téléphone',
  formText: 'Votre message',
  formSend: 'Laisser le message',
  formThanks: 'Merci. Nous avons votre message.',
  formFailed: 'Votre message n’a pas pu être enregistré. Réessayez plus tard.',
  arrival: 'a ouvert la page de discussion',
  refused: 'La discussion n’est pas disponible.',
};

const es: Texts = {
  title: 'Hable con nosotros',
  open: 'Abrir el chat',
  close: 'Cerrar el chat',
  unread: '{count} sin leer',
  greeting: '¡Hola! ¿En qué podemos ayudarle?',
  oneWay: 'Las respuestas no aparecen aquí. Indique en su mensaje cómo podemos localizarle.',
  placeholder: 'Su mensaje',
  send: 'Enviar',
  you: 'Usted',
  agent: 'Atención',
  connecting: 'Conectando…',
  here: 'Estamos aquí',
  away: 'Ahora no hay nadie',
  lost: 'Sin conexión. Nuevo intento…',
  sending: 'Enviando…',
  sent: 'Enviado',
  tooLong: 'Este mensaje es demasiado largo.',
  tooMany: 'Espere un momento antes de volver a escribir.',
  formIntro: 'Ahora no hay nadie. Déjenos un mensaje y le responderemos.',
  formName: 'Su nombre',
  formContact: 'Correo o teléfono',
  formText: 'Su mensaje',
  formSend: 'Dejar el mensaje',
  formThanks: 'Gracias. Tenemos su mensaje.',
  formFailed: 'No se pudo guardar su mensaje. Inténtelo más tarde.',
  arrival: 'ha abierto la página de chat',
  refused: 'El chat no está disponible.',
};

const languages: Record<string, Texts> = { en, zh, de, fr, es };

/** @param language a tag such as "zh-CN"; English where there are no texts for it */
export function textsFor(language: string, own: Partial<Texts> = {}): Texts {
  return { ...(languages[language.toLowerCase().slice(0, 2)] ?? en), ...own };
}
